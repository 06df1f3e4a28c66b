// QELFile: (being written)
