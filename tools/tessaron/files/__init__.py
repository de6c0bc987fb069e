"""Readers and writers: decks, bunches, tables, a run's outputs and its log."""
