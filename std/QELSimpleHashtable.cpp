// QELSimpleHashtable: (being written)
