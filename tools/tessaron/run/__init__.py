"""One run: its settings as objects, starting and resuming it, what it left."""
