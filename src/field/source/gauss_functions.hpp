#pragma once

namespace tessaron {

/// The three functions of a round Gaussian charge of rms 1 at the distance u, by Chebyshev expansions on
/// [0.001, 3] and [3, 6] (good to 1e-10) and by their limits below and beyond.
struct GaussFunctions {
  double g1;  ///< 1 - exp(-u^2/2), the charge within u
  double g2;  ///< E1(u^2/2) / 2, the logarithmic potential against that of a line, ln(u)
  double g3;  ///< g2 + g1 / u^2
};
GaussFunctions gauss_functions(double u);

double fzg1(double u);
double fzg2(double u);
double fzg3(double u);

/// Value at x of the Chebyshev expansion with the m coefficients c (the first one halved) on [a, b], by
/// Clenshaw's recurrence. An x outside gets "x not in range in chebev" and a pause, then its value.
double chebev(double a, double b, const double* c, int m, double x);

/// Coefficients of the six expansions, for whoever wants to check them.
struct GaussTables {
  static constexpr int m = 20;
  double g1_low[m], g1_high[m], g2_low[m], g2_high[m], g3_low[m], g3_high[m];
};
extern const GaussTables& gauss_tables;

}  // namespace tessaron
