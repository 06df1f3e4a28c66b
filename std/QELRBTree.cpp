// QELRBTree: (being written)
