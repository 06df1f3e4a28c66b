// QELException: (being written)
