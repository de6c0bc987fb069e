"""Physical constants with the values that the program itself uses, so that both sides agree to the last digit."""

SPEED_OF_LIGHT = 299792458.0  # m/s
ELECTRON_CHARGE = 1.60203e-19  # C, the program's value; it fixes the rest energy below
REST_ENERGY = 510973.70482780022  # eV, momentum in eV/c of one unit of m c
PER_REST_ENERGY = 1.9570478687098061e-06  # 1/eV

# For files of other systems: e in the SI, which fixes the electronvolt.
SI_ELEMENTARY_CHARGE = 1.602176634e-19  # C
SI_ELECTRON_REST_ENERGY = 510998.95069  # eV (CODATA 2022), where a file counts momenta in m c
