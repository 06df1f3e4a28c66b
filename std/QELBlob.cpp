// QELBlob: (being written)
