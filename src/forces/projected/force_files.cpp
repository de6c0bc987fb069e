#include "forces/projected/force_files.hpp"

#include <array>
#include <string_view>

#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// A diagnostic file while it is written: the first failure stands, later lines are tried all the same.
class DiagnosticFile {
 public:
  explicit DiagnosticFile(std::string_view name) : status_(fiopno(name, stream_)), open_(status_ == ok) {}
  void line(std::string_view text) {
    if (open_) keep_first(status_, fiwrite(stream_, text));
  }
  void number(double value) { line(FreeForm(value).view()); }
  [[nodiscard]] Status close() {
    if (open_) keep_first(status_, ficlos(stream_));
    return status_;
  }

 private:
  int stream_ = 0;
  Status status_;
  bool open_;
};

/// Places of the first and the last value, then the values, one number a line.
template <class Values>
Status write_values(std::string_view name, double from, double to, int lo, int hi, const Values& values) {
  DiagnosticFile file(name);
  file.number(from);
  file.number(to);
  for (int k = lo; k <= hi; ++k) file.number(values[k]);
  return file.close();
}

/// Place relative to particle 1, force along the motion, momentum.
Status write_particles(int n, const ParticleTable& particles, const ForceTable& forces) {
  DiagnosticFile file("fc1.dat");
  for (int i = 1; i <= n; ++i) {
    const Particle& particle = particles[i];
    const std::array<double, 4> values{particle.x - particles[1].x, particle.y - particles[1].y,
                                       forces[i].along, particle.p};
    std::array<char, 80> text;
    for (std::size_t k = 0; k < values.size(); ++k) {
      text[20 * k] = ' ';
      put_scientific(text.data() + 20 * k + 1, 19, 12, values[k]);
    }
    file.line({text.data(), text.size()});
  }
  return file.close();
}

struct WakeValues {
  const SmoothedWake& wake;
  double operator[](int i) const { return wake(i); }
};

}  // namespace

Status force1_diagnostics(const Force1Results& results, int n, const ParticleTable& particles,
                          const ForceTable& forces) {
  const LineGrid& grid = results.grid;
  msgout(FreeForm("ctmin=", grid.ctmin));
  msgout(FreeForm("ctmax=", grid.ctmax));
  msgout(FreeForm("ctrms=", 0.0));
  msgout(FreeForm("ctsig=", results.sig, grid.nsam));
  msgout(" ", 1);

  const double h = grid.h;
  const Series &wsum = results.wsum, &field = results.field;
  Status status = write_values("fc1_curr.dat", grid.ctmin, grid.ctmax, grid.n1, grid.n2, results.curr);
  if (status == ok)
    status = write_values("fc1_csr_w_sub.dat", wsum.lo * h, wsum.hi * h, wsum.lo, wsum.hi, wsum);
  if (status == ok && results.wake != nullptr) {
    const int ia = static_cast<int>(results.wake->ia()), ib = results.wake->ib();
    status = write_values("fc1_w_sub.dat", ia * h, ib * h, ia, ib, WakeValues{*results.wake});
  }
  if (status == ok)
    status = write_values("fc1_csr_w_curr.dat", grid.n1 * h, grid.n2 * h, grid.n1, grid.n2, field);
  if (status == ok) status = write_particles(n, particles, forces);
  return status;
}

}  // namespace tessaron
