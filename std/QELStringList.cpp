// QELStringList: (being written)
