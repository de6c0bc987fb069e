#include "driver/driver.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "beam/particles.hpp"
#include "common/console.hpp"
#include "common/end_request.hpp"
#include "driver/group_transfer.hpp"
#include "forces/force_settings.hpp"
#include "forces/force_work.hpp"
#include "group/process_group.hpp"
#include "lattice/lattice_definition.hpp"
#include "monitors/monitors.hpp"
#include "motion/run_preparation.hpp"
#include "run/deck.hpp"
#include "run/diagnosis.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"
#include "run/progress.hpp"
#include "tracking/force_watch.hpp"
#include "tracking/steps.hpp"
#include "tracking/tracking_record.hpp"

namespace tessaron {

namespace {

struct Driver {
  Text<80> layercmd;  ///< the command that is being carried out
  Text<80> lastcmd;   ///< "tracker" while a tracking run is due, "exit" after that command
  Text<80> runcmd;    ///< "tracker" or "stopp": what the decision point settled, and what the group is told
  bool deck_empty = true;  ///< no command was found in the deck so far; its end is none
};
Driver driver;

/// A top-level command of the deck: what it does, and whether it leads to the decision point by itself.
struct LayerCommand {
  std::string_view name;
  Status (*carry_out)();
  bool decides = false;
};

Status exit_command() {
  const Status closed = fiexit();
  const Status stopped = monoff(0);
  driver.lastcmd = "exit";
  return closed != ok ? closed : stopped;
}

/// A new lattice, bunch or force setting makes the field mesh of the last evaluation worthless and its forces
/// old.
void leave_last_evaluation() {
  grnrst();
  age_forces();
}

Status lattice_command() {
  const Status status = lattice();
  leave_last_evaluation();
  return status;
}

Status particles_command() {
  const Status read = ptlblk();
  const Status stopped = monoff(0);
  leave_last_evaluation();
  clear_integrated_step_error();
  return read != ok ? read : stopped;
}

Status monitor_command() {
  const Status status = inila2();
  return status == ok ? monblk() : status;
}

Status forces_command() {
  const Status status = force();
  leave_last_evaluation();
  return status;
}

Status tracker_command() {
  const Status status = tracker();
  if (status == ok) driver.lastcmd = "tracker";
  return status;
}

constexpr auto layer_commands = std::to_array<LayerCommand>({
    {"exit", exit_command, true},
    {"io_path", iopath},
    {"lattice", lattice_command},
    {"particles", particles_command},
    {"monitor", monitor_command},
    {"online_monitor", onlblk},
    {"forces", forces_command},
    {"track_step", track_step},
    {"track_accuracy", track_accuracy},
    {"tracker", tracker_command, true},
});

/// Brings every subsystem to its start state; the first failure skips the rest.
Status start_up() {
  Status status = fiinit("tessar.in");
  for (Status (*start)() : {rdinit, latini, ptlini, trkini, frcinit, moninit}) {
    if (status == ok) status = start();
  }
  if (status != ok) return status;
  grnrst();
  banner();
  return ok;
}

/// Reads and carries out commands until one leads to the decision point or fails.
Status command_loop() {
  for (;;) {
    obey_end_request();
    driver.layercmd = "";
    if (const Status status = getcmd(driver.layercmd); status != ok) return status;
    if (!deck_ended()) driver.deck_empty = false;
    const auto command = std::find_if(layer_commands.begin(), layer_commands.end(),
                                      [](const LayerCommand& c) { return driver.layercmd == c.name; });
    if (command == layer_commands.end()) {
      msgout("error in tessar: unknown layer command");
      return refuse_word(driver.layercmd.view());
    }
    const Status status = command->carry_out();
    if (command->decides || status != ok) return status;
  }
}

/// The decision point: `runcmd` becomes "tracker" if a tracking run is due and well prepared, else "stopp".
Status decide(Status status) {
  banner();
  driver.runcmd = "stopp";
  if (driver.lastcmd == "tracker") {
    status = inila2();
    if (status == ok) status = trkrep();
    if (status == ok) status = monchk();
    if (status == ok) driver.runcmd = "tracker";
  }
  pgstr(driver.runcmd.view());
  return status;
}

/// Tracks the bunch to the end time. The status is that of the last `monstp`: a monitor that failed ahead of
/// a step has switched itself off.
Status step_loop() {
  double next = ptlcom.ctptcl;
  bool first = true, more = true;
  Status status = ok;
  if (ptlcom.npart == 0) tell_person("tracking without particles: nothing moves but the time");
  begin_force_watch();
  progress_start(ptlcom.ctptcl, trkcom.end_time_c0);
  while (more) {
    (void)monpre(next);
    add_step_error(trkadv(next));
    status = monstp();
    trkstp(next, first, more);
    obey_end_request();
    progress_step(ptlcom.ctptcl);  // behind the step's lines: it stands while the next step is computed
  }
  progress_wipe();
  end_force_watch();
  return status;
}

/// A tracking run, from the decision for it to its report.
Status track() {
  pgsetup();
  const Status status = step_loop();
  if (status != ok) {
    driver.runcmd = "stopp";
    pgstr(driver.runcmd.view());
    return status;
  }
  msgout(FreeForm("integrated step error=", trkcom.integrated_step_error));
  // The command is done with: a failure later in the deck must not start a further run.
  driver.lastcmd = "";
  return ok;
}

/// The walk down the deck. The status is that of the operation that ended the run.
Status run_deck() {
  Status status = start_up();
  for (;;) {
    if (status == ok) status = command_loop();
    status = decide(status);
    if (driver.runcmd == "stopp") return status;
    status = track();
    if (status != ok) return status;
  }
}

/// What the run is doing, for a diagnosis.
Text<100> present_command() {
  if (driver.layercmd.blank()) return "no command";
  constexpr std::string_view head = "command ";
  const std::string_view command = driver.layercmd.view();
  std::array<char, 100> text;
  char* end = std::copy(head.begin(), head.end(), text.begin());
  end = std::copy(command.begin(), command.end(), end);
  return std::string_view(text.data(), static_cast<std::size_t>(end - text.data()));
}

void tell_where_deck_stands() { tell_where_run_stopped(present_command().view()); }

/// What happens ahead of the end of the process when an operation finds that nothing can go on.
void end_after_fatal_stop(std::string_view) {
  tell_where_deck_stands();
  (void)close_all_files();
  pgabort();
}

/// The orderly end of a run that a signal has asked for, between two commands, behind a step or in the midst
/// of one: what was written is kept, and nothing is written of a step that is abandoned.
void end_as_asked() {
  const Position place = position_text(deck_place());
  msgout(FreeForm("run ended by", end_signal_name(), "at ct=", ptlcom.ctptcl, place.view()));
  (void)close_all_files();  // first: standard error may be stuck
  tell_run_ended(end_signal_name(), place.view(), present_command().view(), ptlcom.ctptcl);
  pgquit();
  std::exit(0);
}

}  // namespace

void tessar() {
  driver = {};
  set_stop_hook(end_after_fatal_stop);
  set_end_hook(end_as_asked);
  const Status status = run_deck();
  if (status != ok) {
    tell_where_deck_stands();
  } else if (driver.deck_empty) {
    tell_no_command();
  } else {
    hint_at_missing_file();
  }
  (void)close_all_files();
}

}  // namespace tessaron
