// QELLogDeserializer: (being written)
