// QELLogEventParser: (being written)
