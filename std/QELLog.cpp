// QELLog: (being written)
