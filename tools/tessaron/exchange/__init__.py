"""Lattices of other programs, in and out."""
