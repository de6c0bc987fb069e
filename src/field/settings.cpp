#include "field/settings.hpp"

#include <algorithm>
#include <cmath>

#include "common/console.hpp"
#include "common/freeform.hpp"

namespace tessaron {

namespace {

FieldSettings settings;
SubBunchShape shape;
ForceFlags flags;

/// A real setting, the names it answers to, and whether it is defined: given, and not refused by `check`.
struct RealSetting {
  std::string_view key, other_key, label;
  double FieldSettings::*value;
  bool defined = false;
};
// In the order in which `check` reports them.
RealSetting reals[] = {
    {"hc", "hc", "undefined hc    =", &FieldSettings::hc},
    {"q0", "q0", "undefined q0    =", &FieldSettings::q0},
    {"sigmat", "sigmat", "undefined sigmat=", &FieldSettings::sigmat},
    {"xnsigt", "xnsigt", "undefined xnsigt=", &FieldSettings::xnsigt},
    {"Rintmi", "rintmi", "undefined Rintmi=", &FieldSettings::rintmi},
    {"Rintma", "rintma", "undefined Rintma=", &FieldSettings::rintma},
    {"Slow", "slow", "undefined Slow  =", &FieldSettings::slow},
    {"Shigh", "shigh", "undefined Shigh =", &FieldSettings::shigh},
    {"sstpma", "sstpma", "undefined sstpma=", &FieldSettings::sstpma},
    {"relacc", "relacc", "undefined relacc=", &FieldSettings::relacc},
};
enum Real { hc, q0, sigmat, xnsigt, rintmi, rintma, slow, shigh, sstpma, relacc };

struct FlagSetting {
  std::string_view key;
  bool FieldSettings::*value;
};
constexpr FlagSetting flag_settings[] = {{"notalman", &FieldSettings::notalman},
                                         {"nogamma2", &FieldSettings::nogamma2},
                                         {"zsymmetry", &FieldSettings::zsymmetry},
                                         {"1dmirror", &FieldSettings::mirror_1d},
                                         {"1dpoleex", &FieldSettings::poleex_1d}};

std::string_view without_trailing_blanks(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

/// The nearest integer of a value is 1; halves round away from 0.
bool rounds_to_one(double value) { return value >= 0.5 && value < 1.5; }

/// Lowers the mark of every setting whose value fails its test. Of two settings that are tested together both
/// fail.
void run_tests() {
  const FieldSettings& s = settings;
  const auto require = [](Real setting, bool good) { reals[setting].defined &= good; };
  require(q0, s.q0 > 0);
  require(sigmat, s.sigmat > 0);
  require(xnsigt, s.xnsigt >= 0);
  require(hc, s.hc >= 0);
  const bool resolved = s.rintmi > 0 && s.rintma > s.rintmi;
  require(rintmi, resolved);
  require(rintma, resolved);
  const bool range = s.shigh > s.slow;
  require(slow, range);
  require(shigh, range);
  require(sstpma, s.sstpma > 0);
  require(relacc, s.relacc > 0);
}

void check() {
  run_tests();
  if (std::all_of(std::begin(reals), std::end(reals), [](const RealSetting& r) { return r.defined; })) return;
  console_line("error in finit: undefined setings");
  for (const RealSetting& r : reals) {
    if (!r.defined) console_line(FreeForm(r.label, settings.*r.value).items());
  }
  fatal_stop();
}

void choose_stick_direction() {
  fcoini("ex", 0);
  fcoini("ey", 0);
  fcoini("ez", 1);
}

void set_method(double value) {
  if (!(value >= 0 && value <= 3)) return;
  fcoini("method", value);
  if (shape.method == Method::stick) choose_stick_direction();
}

/// A first sigmaz chooses the vertical stick; one that is not positive takes the shape away.
void set_sigmaz(double value) {
  if (!(value > 0)) return fcoini("method", 0);
  if (shape.method != Method::line) return fcoini("sigmaz", value);
  fcoini("method", 1);
  fcoini("sigmaz", value);
  choose_stick_direction();
}

void set_sigmar(double value) {
  if (!(value > 0)) return fcoini("method", 0);
  fcoini("method", 3);
  fcoini("sigmar", value);
}

[[noreturn]] void unknown_action(std::string_view where, std::string_view action) {
  console_line(where);
  fatal_stop(action);
}

double SubBunchShape::*shape_value(std::string_view action) {
  if (action == "sigmaz") return &SubBunchShape::sigmaz;
  if (action == "sigmar") return &SubBunchShape::sigmar;
  if (action == "ex") return &SubBunchShape::ex;
  if (action == "ey") return &SubBunchShape::ey;
  if (action == "ez") return &SubBunchShape::ez;
  return nullptr;
}

}  // namespace

const FieldSettings& field_settings = settings;
const SubBunchShape& subbunch_shape = shape;
const ForceFlags& force_flags = flags;

void finit(std::string_view action, double value) {
  const std::string_view key = without_trailing_blanks(action);
  if (key == "method") return set_method(value);
  if (key == "sigmaz") return set_sigmaz(value);
  if (key == "sigmar") return set_sigmar(value);
  if (key == "xnsigz") return;
  if (key == "check") return check();
  if (key == "hmax") {
    settings.hmax = value;
    return;
  }
  for (RealSetting& r : reals) {
    if (key == r.key || key == r.other_key) {
      settings.*r.value = value;
      r.defined = true;
      return;
    }
  }
  for (const FlagSetting& f : flag_settings) {
    if (key == f.key) {
      settings.*f.value = rounds_to_one(value);
      return;
    }
  }
  unknown_action("error in fld_cont/finit: unknown action", key);
}

void fcoini(std::string_view action, double value) {
  const std::string_view key = without_trailing_blanks(action);
  if (key == "method") {
    // `fzSP` refuses what names no model.
    shape.method = static_cast<Method>(std::abs(value) < 1e9 ? std::lround(value) : -1);
  } else if (double SubBunchShape::*const member = shape_value(key)) {
    shape.*member = value;
  } else {
    unknown_action("error in fld_conv/fcoini: unknown action", key);
  }
  if (shape.method == Method::ellipse && (key == "method" || key == "sigmaz" || key == "sigmar")) {
    shape.long_axis_vertical = shape.sigmaz > shape.sigmar;
    shape.sigmax = std::sqrt(std::abs(shape.sigmaz * shape.sigmaz - shape.sigmar * shape.sigmar));
    shape.sigmin = std::min(shape.sigmaz, shape.sigmar);
  }
}

double fcoget(std::string_view action) {
  const std::string_view key = without_trailing_blanks(action);
  if (key == "method") return static_cast<double>(shape.method);
  if (const double SubBunchShape::*const member = shape_value(key)) return shape.*member;
  unknown_action("error in fld_conv/fcoget: unknown action", key);
}

void ziflag(std::string_view cflag, bool value) {
  const std::string_view key = without_trailing_blanks(cflag);
  if (key == "notalman") {
    flags.notalman = value;
  } else if (key == "nogamma2") {
    flags.nogamma2 = value;
  } else if (key == "extract") {
    flags.extract = value;
  } else {
    console_line(FreeForm("error in fld_z_int/ziflag:", key, "unknown").items());
  }
}

void fldver(Text<80>& text, int i, int& n) {
  n = 1;
  text = i == 1 ? "fld_version = fld3f3_13_no_wint2  from 17.03.05" : "";
}

}  // namespace tessaron
