// QELVector: (being written)
