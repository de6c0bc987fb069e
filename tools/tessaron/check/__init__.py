"""A deck read without being run, and what would fail or looks wrong in it."""
