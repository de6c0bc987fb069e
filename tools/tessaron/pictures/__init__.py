"""Pictures, tables and the report page."""
