#include <algorithm>
#include <utility>

#include "beam/bunch_record.hpp"
#include "common/cores/chunks.hpp"
#include "common/end_request.hpp"
#include "common/freeform.hpp"
#include "forces/force_dispatch.hpp"
#include "motion/pusher.hpp"
#include "run/line_writer.hpp"
#include "tracking/force_watch.hpp"
#include "tracking/steps.hpp"
#include "tracking/tracking_record_owner.hpp"

namespace tessaron {

namespace {

ForceTimes force_times_store;

// Tables whose roles change from pass to pass, so that nothing has to be copied.
ParticleTable particle_tables[2];
SectionTable section_tables[2];
struct BunchTables {
  TableSlot<ParticleTable> particle;
  TableSlot<SectionTable> section;
};
BunchTables bunch_tables[2] = {{TableSlot(particle_tables[0]), TableSlot(section_tables[0])},
                               {TableSlot(particle_tables[1]), TableSlot(section_tables[1])}};
BunchTables *pred = &bunch_tables[0], *corr = &bunch_tables[1];
ForceTable force_tables[3];
ForceTable* fpre = &force_tables[0];    // forces of the pre-conditioning model at fpre_time
ForceTable* fstart = &force_tables[1];  // forces at the start of a step
ForceTable* fdeck = &force_tables[2];   // forces of the deck's model at ftrk_time, unless they are fpre
bool deck_has_fpre = false;             // the deck's model is its own pre-conditioning model

/// One step in time and the numbers that its passes share.
struct Step {
  double t0, t1;
  int n;
  double length() const { return t1 - t0; }
};

/// The cheap model that a model is pre-conditioned with.
ForceType preconditioner(ForceType type) {
  switch (type) {
    case ForceType::csr_p_to_p:
      return ForceType::csr_g_to_p;
    case ForceType::csr_p_to_m:
      return ForceType::csr_g_to_m;
    default:
      return ForceType::projected;
  }
}

constexpr int fewest_in_chunk = 4096;  ///< rows that are worth a thread's while

template <class TableType>
void copy_rows(int n, const TableType& from, TableType& to) {
  over_chunks(Chunks::of(n, fewest_in_chunk), [&](const Chunk& chunk) {
    std::ranges::copy(from.run(chunk.first, chunk.size()), to.run(chunk.first, chunk.size()).begin());
  });
}

void clear_rows(int n, ForceTable& forces) { std::ranges::fill(forces.run(1, n), Force{}); }

/// Whether a step has the stage of the pre-conditioning model. The projected model is its own: one stage
/// does.
bool has_first_stage(ForceType model) { return trkcom.precondition || preconditioner(model) == model; }

/// The step goes on behind a failed evaluation, without a force. One that was cut short is not used: the step
/// is abandoned, and the bunch stays as it was at its start.
void evaluate(ForceType type, const ParticleTable& particles, const SectionTable& sections, double ct,
              ForceTable& forces) {
  const Status status = forcei(type, particles, sections, ct, forces);
  obey_end_request();
  if (status != ok) note_failed_evaluation(ct);
}

/// Tracks the bunch over the step into `end`, under `fstart` at its start and `fend` at its end.
void track(const Step& step, BunchTables& end, const ForceTable& fend) {
  track_all(step.n, ptlcom.particle, ptlcom.section, end.particle, end.section, step.t0, step.t1,
            {fstart, &fend, step.t0, step.t1});
  obey_end_request();
}

/// The corrector becomes the predictor of the next pass.
void take_corrector() { std::swap(pred, corr); }

/// Compares predictor and corrector and logs the error per step length under `text`.
double compare(const Step& step, const char* text) {
  const StepError error = step_error(step.n, pred->particle, corr->particle, ptlcom.source);
  const double err = error.position + trkcom.error_weight_momentum * error.momentum;
  msgout(FreeForm(text, err / step.length()));
  return err;
}

bool converged(const Step& step, double err, int passes) {
  return err / step.length() <= trkcom.error_per_ct || passes >= trkcom.maxit;
}

/// The step with the pre-conditioning model: `fpre` is brought to t1, `corr` to the end of the step. The
/// first estimate lets the force fall linearly to zero at t1.
double precondition(const Step& step, ForceType model, const char* text) {
  if (force_times_store.fpre_time != step.t0) {
    evaluate(model, ptlcom.particle, ptlcom.section, step.t0, *fpre);
    force_times_store.fpre_time = step.t0;
    force_times_store.fpre_old = false;
  }
  if (!(step.t1 > step.t0)) return 0;
  std::swap(fpre, fstart);
  clear_rows(step.n, *fpre);
  track(step, *pred, *fpre);
  evaluate(model, pred->particle, pred->section, step.t1, *fpre);
  force_times_store.fpre_old = false;
  for (int passes = 1;; ++passes) {
    track(step, *corr, *fpre);
    evaluate(model, corr->particle, corr->section, step.t1, *fpre);
    const double err = compare(step, text);
    if (converged(step, err, passes)) return err;
    take_corrector();
  }
}

/// The step with the deck's model, from the end force that the pre-conditioning left or from zero. The force
/// is worked out anew only ahead of a further pass, so `ftrk` belongs to the last predictor.
double correct(const Step& step, ForceType model) {
  std::swap(fdeck, fstart);
  if (trkcom.precondition) {
    copy_rows(step.n, *fpre, *fdeck);
  } else {
    clear_rows(step.n, *fdeck);
  }
  track(step, *pred, *fdeck);
  evaluate(model, pred->particle, pred->section, step.t1, *fdeck);
  for (int passes = 1;; ++passes) {
    track(step, *corr, *fdeck);
    const double err = compare(step, "                   step_error/step_time=");
    if (converged(step, err, passes)) return err;
    evaluate(model, corr->particle, corr->section, step.t1, *fdeck);
    take_corrector();
  }
}

/// The forces of the deck's model get a table of their own again.
void keep_deck_forces(int n) {
  if (deck_has_fpre) copy_rows(n, *fpre, *fdeck);
  deck_has_fpre = false;
}

/// Both stages of a step under self force.
double advance(const Step& step, ForceType model) {
  const ForceType pre = preconditioner(model);
  const bool moves = step.t1 > step.t0;
  double err = 0;
  if (pre != model) keep_deck_forces(step.n);
  if (has_first_stage(model)) {
    err = precondition(step, pre,
                       pre == model ? "                   step_error/step_time="
                                    : "               *** step_error/step_time=");
  }
  if (pre == model) {
    deck_has_fpre = true;
    force_times_store.ftrk_time = step.t1;
    force_times_store.ftrk_old = force_times_store.fpre_old;
  } else {
    if (force_times_store.ftrk_time != step.t0) {
      evaluate(model, ptlcom.particle, ptlcom.section, step.t0, *fdeck);
      force_times_store.ftrk_time = step.t0;
      force_times_store.ftrk_old = false;
    }
    if (!moves) return err;
    err = correct(step, model);
    force_times_store.ftrk_time = step.t1;
    force_times_store.ftrk_old = false;
  }
  if (moves) {
    ptlmov().particle.exchange(corr->particle);
    ptlmov().section.exchange(corr->section);
    force_times_store.fpre_time = step.t1;
  }
  return err;
}

}  // namespace

const ForceTimes& force_times = force_times_store;
const ForceTable& ftrk() { return deck_has_fpre ? *fpre : *fdeck; }

void forget_forces() { force_times_store = ForceTimes{}; }

void age_forces() { force_times_store.fpre_old = force_times_store.ftrk_old = true; }

bool starts_with_old_forces() {
  const ForceTimes& stored = force_times_store;
  const ForceType model = force_settings.force_type;
  if (model == ForceType::none) return false;
  const bool old_first = stored.fpre_old && stored.fpre_time == ptlcom.ctptcl;
  const bool old_second = stored.ftrk_old && stored.ftrk_time == ptlcom.ctptcl;
  return preconditioner(model) == model ? old_first : old_second || (trkcom.precondition && old_first);
}

double trkadv(double next) {
  const Step step{ptlcom.ctptcl, next, ptlcom.npart};
  const ForceType model = force_settings.force_type;
  double err = 0;
  if (model == ForceType::none) {
    if (step.t1 > step.t0) {
      const MovingBunch bunch = ptlmov();
      track_all(step.n, bunch.particle, bunch.section, bunch.particle, bunch.section, step.t0, step.t1, {});
      obey_end_request();
    }
  } else {
    err = advance(step, model);
  }
  ptlmov().ctptcl = next;
  return err;
}

}  // namespace tessaron
