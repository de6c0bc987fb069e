"""Bunches: making them and taking their numbers."""
