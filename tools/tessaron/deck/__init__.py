"""Decks: their words, a reader that knows every place, the tables that they name."""
