// QELDate: (being written)
