"""Lattices of elegant."""
