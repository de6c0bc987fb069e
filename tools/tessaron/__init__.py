"""What a user of Tessaron does before and after a run: bunches, conversions, analysis, pictures, reports, checks.

Coordinates everywhere: x and y span the orbit plane, z is vertical, the design orbit starts along +x. Lengths in metres,
momenta in eV/c, charges in coulomb, time as c*t in metres.
"""
