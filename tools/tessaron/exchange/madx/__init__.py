"""MAD-X files, in and out."""
