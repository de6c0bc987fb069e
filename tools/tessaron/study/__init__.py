"""Studies: runs from Python objects, scans, convergence, models side by side."""
