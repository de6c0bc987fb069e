#include "beam/bunch_record.hpp"
#include "common/freeform.hpp"
#include "forces/force_settings.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_record.hpp"
#include "run/line_writer.hpp"
#include "tracking/tracking_record_owner.hpp"

namespace tessaron {

namespace {

void line(const char* text) { msgout(FreeForm(text)); }

template <class Value>
void line(const char* text, Value value) {
  msgout(FreeForm(text, value));
}

/// The time at which the reference particle meets the first boundary with the tracker's marker.
Status settle_marker() {
  TrackingRecord& t = trkcom_store;
  for (int i = 1; i <= latcom.nlat; ++i) {
    if (!(latcom.marker[i] == t.end_time_marker)) continue;
    t.end_time_c0 = latcom.tbnd[i];
    if (t.end_time_shift_c0 != undefined_real) t.end_time_c0 += t.end_time_shift_c0;
    return ok;
  }
  msgout("error: unknown marker for track time");
  return failed;
}

/// Works out the end time: a marker goes before a time span, a time span before a time.
Status settle_end_time() {
  TrackingRecord& t = trkcom_store;
  Status status = ok;
  if (t.delta_time_c0 != undefined_real) t.end_time_c0 = ptlcom.ctptcl + t.delta_time_c0;
  if (!(t.end_time_marker == undefined_text)) status = settle_marker();
  if (t.end_time_c0 == undefined_real) {
    msgout("error: end time is undefined");
    status = failed;
  } else if (!(t.end_time_c0 > ptlcom.ctptcl)) {
    msgout("error: end time < particle time");
    status = failed;
  }
  return status;
}

void report_projected() {
  const ForceSettings& f = force_settings;
  line(f.wake_used ? "with 'projected' force + wake" : "with 'projected' force");
  if (f.shield != 0) {
    line("  shield             =", f.shield);
    line("  shield_max         =", f.shield_max);
  }
  if (f.shield_reach == ShieldReach::kernel) line("  shield_reach       = kernel");
  if (f.shield_reach == ShieldReach::bunch) line("  shield_reach       = bunch");
  if (f.wake_used) {
    line("  wake_sigma         =", f.sigwak);
    line("  wake_step          =", f.stpwak);
    line("  wake_index_low     =", f.n1wak);
    line("  wake_index_high    =", f.n2wak);
  }
  if (f.par[1] != 0) line("  par1               =", f.par[1]);
  if (f.par[2] != 0) line("  par2               =", f.par[2]);
  if (f.par[3] != 0) line("  par3               =", f.par[3]);
  if (f.par[4] != 0) {
    line("  par4               =", f.par[4]);
    line("    csr_field :=csr_field *(1-par4)");
  }
  if (f.par[5] != 0) {
    line("  par5               =", f.par[5]);
    line("    wake_field:=wake_field*(1-par5)");
  }
}

void report_subbunch_model(const char* with_force) {
  const ForceSettings& f = force_settings;
  const std::int32_t processes = pgflags().group_size;
  if (processes >= 2) {
    msgout(FreeForm(with_force, "on", processes, "cpus"));
  } else {
    line(with_force);
  }
  if (f.force_type == ForceType::csr_p_to_m || f.force_type == ForceType::csr_g_to_m) {
    line("sbox                 =", f.sbox);
    line("rbox                 =", f.rbox);
  }
  if (f.shield != 0) {
    line("shield               =", f.shield);
    line("shield_max           =", f.shield_max);
  }
}

void report_force() {
  switch (force_settings.force_type) {
    case ForceType::none:
      line("without self force");
      break;
    case ForceType::projected:
      report_projected();
      break;
    case ForceType::csr_p_to_p:
      report_subbunch_model("with 'csr_p_to_p' force");
      break;
    case ForceType::csr_p_to_m:
      report_subbunch_model("with 'csr_p_to_m' force");
      break;
    case ForceType::csr_g_to_p:
      report_subbunch_model("with 'csr_g_to_p' force");
      break;
    case ForceType::csr_g_to_m:
      report_subbunch_model("with 'csr_g_to_m' force");
      break;
  }
}

void report_steps() {
  const TrackingRecord& t = trkcom;
  if (t.precondition) line("with pre-conditioning");
  if (t.maxit > 1) {
    line("with iterative tracking, maxit=", t.maxit);
    line("relative step_error/step_time =", t.error_per_ct);
    line("weight of momentum error      =", t.error_weight_momentum);
  }
  line("ct_step_min                   =", t.ct_step_min);
  line("ct_step_max                   =", t.ct_step_max);
  line("ct_step_first                 =", t.ct_step_first);
  if (t.duty_steps) line("with duty steps");
  line("increase_factor               =", t.increase_factor);
  line("arc_factor                    =", t.arc_factor);
}

}  // namespace

Status trkrep() {
  const Status status = settle_end_time();
  if (status != ok) return status;
  msgout(" ", 1);
  line("start time           =", ptlcom.ctptcl);
  line("tracking to end_time =", trkcom.end_time_c0);
  report_force();
  report_steps();
  msgout(" ", 1);
  return ok;
}

}  // namespace tessaron
