#include "field/settings.hpp"

#include <algorithm>
#include <cmath>
#include <functional>

#include "common/console.hpp"
#include "common/freeform.hpp"
#include "field/source_record.hpp"

namespace tessaron {

namespace {

/// A real setting and the names it answers to.
struct RealSetting {
  std::string_view key, other_key, label;
  double FieldSettings::*value;
};
// In the order in which `check` reports them.
constexpr RealSetting reals[] = {
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
constexpr FlagSetting flag_settings[] = {
    {"notalman", &FieldSettings::notalman},       {"nogamma2", &FieldSettings::nogamma2},
    {"nopotential", &FieldSettings::nopotential}, {"zsymmetry", &FieldSettings::zsymmetry},
    {"1dmirror", &FieldSettings::mirror_1d},      {"1dpoleex", &FieldSettings::poleex_1d}};

std::string_view without_trailing_blanks(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

/// The nearest integer of a value is 1; halves round away from 0.
bool rounds_to_one(double value) { return value >= 0.5 && value < 1.5; }

/// Which settings are fit for use: given, and with a value that passes its test. Of two settings that are
/// tested together both fail.
std::array<bool, 10> fit_settings(const FieldSettings& s) {
  std::array<bool, 10> fit = s.given;
  const auto require = [&](Real setting, bool good) { fit[setting] &= good; };
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
  return fit;
}

void check(const FieldSettings& settings) {
  const std::array<bool, 10> fit = fit_settings(settings);
  if (std::ranges::all_of(fit, std::identity{})) return;
  console_line("error in finit: undefined setings");
  for (std::size_t i = 0; i < fit.size(); ++i) {
    if (!fit[i]) console_line(FreeForm(reals[i].label, settings.*reals[i].value).items());
  }
  fatal_stop();
}

void choose_stick_direction(SubBunchShape& shape) {
  fcoini(shape, "ex", 0);
  fcoini(shape, "ey", 0);
  fcoini(shape, "ez", 1);
}

void set_method(SubBunchShape& shape, double value) {
  if (!(value >= 0 && value <= 3)) return;
  fcoini(shape, "method", value);
  if (shape.method == Method::stick) choose_stick_direction(shape);
}

/// A first sigmaz chooses the vertical stick; one that is not positive takes the shape away.
void set_sigmaz(SubBunchShape& shape, double value) {
  if (!(value > 0)) return fcoini(shape, "method", 0);
  if (shape.method != Method::line) return fcoini(shape, "sigmaz", value);
  fcoini(shape, "method", 1);
  fcoini(shape, "sigmaz", value);
  choose_stick_direction(shape);
}

void set_sigmar(SubBunchShape& shape, double value) {
  if (!(value > 0)) return fcoini(shape, "method", 0);
  fcoini(shape, "method", 3);
  fcoini(shape, "sigmar", value);
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

void finit(FieldSource& source, std::string_view action, double value) {
  const std::string_view key = without_trailing_blanks(action);
  FieldSettings& settings = source.settings;
  source.complete = false;
  if (key == "check") {
    check(settings);
    return complete_source(source);
  }
  if (key == "method") return set_method(source.shape, value);
  if (key == "sigmaz") return set_sigmaz(source.shape, value);
  if (key == "sigmar") return set_sigmar(source.shape, value);
  if (key == "xnsigz") return;
  if (key == "hmax") {
    settings.hmax = value;
    return;
  }
  for (std::size_t i = 0; i < settings.given.size(); ++i) {
    if (key == reals[i].key || key == reals[i].other_key) {
      settings.*reals[i].value = value;
      settings.given[i] = true;
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

void fcoini(SubBunchShape& shape, std::string_view action, double value) {
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

double fcoget(const SubBunchShape& shape, std::string_view action) {
  const std::string_view key = without_trailing_blanks(action);
  if (key == "method") return static_cast<double>(shape.method);
  if (const double SubBunchShape::*const member = shape_value(key)) return shape.*member;
  unknown_action("error in fld_conv/fcoget: unknown action", key);
}

void fldver(Text<80>& text, int i, int& n) {
  n = 1;
  text = i == 1 ? "fld_version = fld3f3_13_no_wint2  from 17.03.05" : "";
}

}  // namespace tessaron
