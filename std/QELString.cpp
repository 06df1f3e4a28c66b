// QELString: (being written)
