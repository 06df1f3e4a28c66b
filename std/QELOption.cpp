// QELOption: (being written)
