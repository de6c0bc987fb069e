"""`python3 -m tessaron_tools`."""
import sys

from .cli import main

sys.exit(main())
