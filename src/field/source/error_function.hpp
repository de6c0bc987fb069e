#pragma once

namespace tessaron {

/// The error function in 4-byte reals, by the incomplete gamma function: P(1/2, x^2) with the sign of x. Good
/// to about 3e-7.
float erff(float x);

/// The regularised lower incomplete gamma function P(a, x), a > 0, x >= 0, in 4-byte reals: a series below
/// x = a + 1, one minus a continued fraction above, at most 100 terms. Other arguments stop the program.
/// Source: Press et al., Numerical Recipes, 1st ed., sec. 6.2.
float gammp(float a, float x);

}  // namespace tessaron
