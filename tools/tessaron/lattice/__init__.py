"""The design orbit."""
