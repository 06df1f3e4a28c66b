// QELTextLiteral: (being written)
