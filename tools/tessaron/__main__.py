"""`python3 -m tessaron`."""
import sys

from .command.cli import main

sys.exit(main())
