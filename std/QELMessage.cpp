// QELMessage: (being written)
