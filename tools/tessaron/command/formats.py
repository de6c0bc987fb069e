"""The formats that options name."""

TEXT_FORMATS = "fmt0 fmt1 fmt2 fmt3 umbra openpmd csv".split()
OUT_FORMATS = "fmt1 fmt2 umbra openpmd csv".split()
