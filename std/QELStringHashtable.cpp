// QELStringHashtable: (being written)
