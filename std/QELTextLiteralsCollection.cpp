// QELTextLiteralsCollection: (being written)
