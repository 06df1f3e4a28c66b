// QELTranslationLoader: (being written)
