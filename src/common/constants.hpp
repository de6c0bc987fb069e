#pragma once

namespace tessaron {

inline constexpr double pi = 3.1415926535897931;
inline constexpr double two_pi = 6.2831853071795862;
inline constexpr double speed_of_light = 299792458.0;         ///< c [m/s]
inline constexpr double electron_charge = 1.60203e-19;        ///< [C]; eV to joule
inline constexpr double mc_squared = 8.1859520434528078e-14;  ///< electron rest energy [J]
inline constexpr double ev_per_mc = 510973.70482780022;       ///< momentum in eV/c of one unit of m c
inline constexpr double mc_per_ev = 1.9570478687098061e-06;   ///< its inverse; also e/(m c^2) per volt

/// Capacities of the tables that more than one subsystem shares.
inline constexpr int maxprt = 300000;   ///< particles
inline constexpr int maxlat = 100;      ///< field boundaries
inline constexpr int matist = 2000;     ///< rows of a time grid or a sub-bunch table
inline constexpr int narcsr = 50000;    ///< points of a longitudinal kernel or wake
inline constexpr int maxgre = 2500000;  ///< rows of the Green's function table

/// Degrees, as decks give angles, in radians.
constexpr double radians(double degrees) { return degrees / 180.0 * pi; }

}  // namespace tessaron
