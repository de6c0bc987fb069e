#include <array>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "beam/bunch_frame.hpp"
#include "beam/bunch_record.hpp"
#include "common/freeform.hpp"
#include "forces/force_settings.hpp"
#include "lattice/arc_position.hpp"
#include "monitors/monitor_outputs.hpp"
#include "run/diagnosis.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"
#include "tracking/tracking_record.hpp"

namespace tessaron {

namespace {

enum MonitorFormat : std::int32_t { fmt0 = 0, fmt1 = 1, fmt2 = 2, fmt3 = 3 };

/// One line under construction: rows of 22-column reals (0.dddE+xx with 14 decimals) and one-column integers,
/// a blank ahead of each. There is room for eleven reals and two integers.
class RecordLine {
 public:
  void real(double value) {
    *end_++ = ' ';
    put_scientific(end_, 22, 14, value);
    end_ += 22;
  }
  void zeros(int n) {
    for (int k = 0; k < n; ++k) real(0.0);
  }
  void vector(const Vector3& v) {
    real(v.x);
    real(v.y);
    real(v.z);
  }
  void digit(bool flag) {
    *end_++ = ' ';
    *end_++ = flag ? '1' : '0';
  }
  /// Writes the line and begins a new one.
  Status write(int stream) {
    const std::string_view line(chars_.data(), static_cast<std::size_t>(end_ - chars_.data()));
    end_ = chars_.data();
    return fiwrite(stream, line);
  }

 private:
  std::array<char, 11 * 23 + 2 * 2> chars_;
  char* end_ = chars_.data();
};

double gamma_of(double p) { return std::sqrt(p * p + 1); }

bool forces_are_current() { return ptlcom.ctptcl == force_times.ftrk_time; }

/// `fmt0`: the internal form without the charge.
class InternalFields {
 public:
  void put(RecordLine& line, int i) const {
    const Particle& particle = ptlcom.particle[i];
    line.vector({particle.x, particle.y, particle.z});
    line.vector({particle.p, particle.phi, particle.theta});
  }
};

/// `fmt1` and `fmt2`: particle 1 in the file frame, every other one by its difference from particle 1 along
/// the axes of the file frame or of particle 1; momenta in eV/c.
class FileFields {
 public:
  explicit FileFields(std::int32_t format)
      : file_(file_frame(ptlcom.reference_point_phi)),
        difference_(format == fmt2 ? particle_frame(reference_.phi, reference_.theta) : file_) {}

  void put(RecordLine& line, int i) const {
    const Particle& particle = ptlcom.particle[i];
    if (i == 1) {
      const Vector3 origin{ptlcom.reference_point_x, ptlcom.reference_point_y, 0};
      line.vector(to_frame(file_, place_) + origin);
      line.vector(to_frame(file_, momentum_));
    } else {
      line.vector(to_frame(difference_, place_of(particle) - place_));
      line.vector(to_frame(difference_, momentum_of(particle) - momentum_));
    }
    line.real(particle.q);
  }

 private:
  static Vector3 place_of(const Particle& particle) { return {particle.x, particle.y, particle.z}; }
  static Vector3 momentum_of(const Particle& particle) {
    const double p = particle.p * ev_per_mc;
    const double in_plane = p * std::cos(particle.theta);
    return {in_plane * std::cos(particle.phi), in_plane * std::sin(particle.phi),
            p * std::sin(particle.theta)};
  }

  const Particle& reference_ = ptlcom.particle[1];
  BunchFrame file_, difference_;
  Vector3 place_ = place_of(reference_), momentum_ = momentum_of(reference_);
};

/// `fmt3`: coordinates along the design orbit, the self force and the flags.
class OrbitFields {
 public:
  void put(RecordLine& line, int i) const {
    const Particle& particle = ptlcom.particle[i];
    const ArcPosition at = arc_position(particle.x, particle.y, ptlcom.section[i]);
    const double c = std::cos(particle.theta) * std::cos(particle.phi);
    const double s = std::cos(particle.theta) * std::sin(particle.phi);
    // The component along the orbit. A direction right across it has no slope; a huge one stands for it.
    double along = at.tx * c + at.ty * s;
    if (along == 0) along = 1e-98;
    line.real(at.u);
    line.real((at.tx * s - at.ty * c) / along);
    line.real(particle.z);
    line.real(std::sin(particle.theta) / along);
    line.real(at.s - s_reference_);
    line.real(gamma_of(particle.p) / gamma_reference_ - 1);
    line.real(particle.q);
    if (current_) {
      const Force& force = ftrk()[i];
      line.vector({force.along / mc_per_ev, force.across / mc_per_ev, force.up / mc_per_ev});
    } else {
      line.zeros(3);
    }
    line.digit(ptlcom.source[i]);
    line.digit(ptlcom.test[i]);
  }

 private:
  double s_reference_ = arc_position(ptlcom.particle[1].x, ptlcom.particle[1].y, ptlcom.section[1]).s;
  double gamma_reference_ = gamma_of(ptlcom.reference_momentum);
  bool current_ = forces_are_current();
};

template <class Fields>
Status write_records(int stream, int first, int last, bool time_column, const Fields& fields) {
  RecordLine line;
  Status status = ok;
  for (int i = first; i <= last; ++i) {
    if (time_column) line.real(ptlcom.ctptcl);
    fields.put(line, i);
    keep_first(status, line.write(stream));
  }
  // A short file waits in its buffer: a full disk shows here, however many records there are.
  keep_first(status, fiflush(stream));
  return status;
}

Status write_header(int stream, std::int32_t format) {
  RecordLine line;
  if (format == fmt1 || format == fmt2) {
    line.real(ptlcom.ctptcl);
    line.zeros(6);
    return line.write(stream);
  }
  if (format != fmt3) return ok;
  line.real(ptlcom.ctptcl);
  line.real(gamma_of(ptlcom.reference_momentum));
  if (forces_are_current()) {
    line.zeros(5);
    line.vector({force_settings.sigma_long, force_settings.sigma_rad, force_settings.sigma_vert});
  } else {
    line.zeros(8);
  }
  line.digit(false);
  line.digit(false);
  return line.write(stream);
}

Status write_file(std::string_view name, std::int32_t format, bool* open_failure_told) {
  int stream = 0;
  Status status = fiopno(name, stream);
  if (status != ok) {
    if (open_failure_told == nullptr || !*open_failure_told) tell_monitor_failed(name, status);
    if (open_failure_told != nullptr) *open_failure_told = true;
    return status;
  }
  status = write_header(stream, format);
  keep_first(status, monrec(stream, 1, ptlcom.npart, format, false));
  keep_first(status, ficlos(stream));
  return status;
}

Status told(Status status) {
  if (status != ok) msgout("error in execution of monitor");
  return status;
}

}  // namespace

Status monwrt(std::string_view name, std::int32_t format, bool* open_failure_told) {
  msgout(FreeForm(name_line("monitor=", name, "  ctptcl=").view(), ptlcom.ctptcl));
  return told(ptlcom.npart > 0 ? write_file(name, format, open_failure_told) : failed);
}

Status monrec(int stream, int first, int last, std::int32_t format, bool time_column) {
  switch (format) {
    case fmt0:
      return told(write_records(stream, first, last, time_column, InternalFields{}));
    case fmt1:
    case fmt2:
      return told(write_records(stream, first, last, time_column, FileFields(format)));
    case fmt3:
      return told(write_records(stream, first, last, time_column, OrbitFields{}));
    default:
      return ok;
  }
}

}  // namespace tessaron
