// encoding: (being written)
