// configuration: (being written)
