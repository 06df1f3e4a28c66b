// process: (being written)
