// QELHashtable: (being written)
