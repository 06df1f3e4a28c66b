// QELSetup: (being written)
