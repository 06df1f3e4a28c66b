// text: (being written)
