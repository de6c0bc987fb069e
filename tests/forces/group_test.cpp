#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "common/console.hpp"
#include "forces/models_fixture.hpp"
#include "group/process_group.hpp"

/// A process group of two for the models: a forked worker at the other end of a socket. Without one it is the
/// group of one process that all other tests here run in.
namespace tessaron {

namespace {

ProcessIdentity identity;
int line = -1;

/// Moves all bytes of n items by ::read or ::write.
template <class Call, class T>
void transfer(Call call, T* data, int n) {
  auto at = reinterpret_cast<char*>(data);
  for (std::size_t left = static_cast<std::size_t>(n) * sizeof(T); left > 0;) {
    const ssize_t moved = call(line, at, left);
    if (moved <= 0) ::_exit(1);
    at += moved, left -= static_cast<std::size_t>(moved);
  }
}
template <class T, class Merge>
void to_master(T* data, int n, Merge merge) {
  if (identity.group_size == 1) return;
  if (!identity.master) return transfer(::write, data, n);
  for (int i = 0; i < n; ++i) {
    T theirs;
    transfer(::read, &theirs, 1);
    data[i] = merge(data[i], theirs);
  }
}
template <class T>
void to_all(T* data, int n) {
  if (identity.group_size == 1) return;
  identity.master ? transfer(::write, data, n) : transfer(::read, data, n);
}

}  // namespace

ProcessIdentity pgflags() { return identity; }
void pgstart(int*, char***) {}
void pgend() {}
void pgstr(std::string_view) {}
void pgrecv(Text<80>&) {}
void pgabort() {}
void pgbytes(void* data, std::size_t size) { to_all(static_cast<char*>(data), static_cast<int>(size)); }
void pgrows(double* array, int row_length, int rows, int) { to_all(array, row_length * rows); }
void pgsum(double* array, int row_length, int rows) { to_master(array, row_length * rows, std::plus<>()); }
void pgorf(bool* flags, int count) { to_master(flags, count, std::logical_or<>()); }
void pgflg(bool* flags, int count, int) { to_all(flags, count); }

namespace {

using enum ForceType;

struct Group : test::Models {
  /// One or more evaluations that a worker does as well; the forces of the last.
  template <class Evaluate>
  std::vector<Force> shared(const Evaluate& evaluate) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const pid_t worker = ::fork();
    if (worker == 0) {
      identity = {false, 2, 2};
      line = ends[1];
      console_silence();
      evaluate();
      ::_exit(0);
    }
    identity = {true, 1, 2};
    line = ends[0];
    const auto result = evaluate();
    identity = {};
    int status = 0;
    ::waitpid(worker, &status, 0);
    EXPECT_EQ(status, 0);
    for (const int end : ends) ::close(end);
    return result;
  }
  /// What one process computes, a group of two does as well.
  void expect_same(ForceType type, double tolerance, std::int32_t capacity = maxgre) {
    const auto alone = forces(type, 1);
    grnrst();
    green_set_capacity(capacity);
    EXPECT_LT(deviation(alone, shared([&] { return forces(type, 1); })), tolerance * size(alone));
    grnrst();
  }
  void cloud(int n) {
    arc(1, 1);
    for (int i = 0; i < n; ++i) add(6e-5 * normal(), 3e-5 * normal(), 1e-4 * normal());
  }
  long lines_with(const std::string& text) const {
    return std::ranges::count_if(log,
                                 [&](const std::string& entry) { return entry.find(text) < entry.size(); });
  }
};

TEST_F(Group, OfTwoProcessesGivesTheForcesOfOne) {
  cloud(41);
  for (const ForceType type : {csr_p_to_p, csr_p_to_m, csr_g_to_p, csr_g_to_m}) expect_same(type, 1e-12);
  EXPECT_EQ(lines_with("--- required flags ? ---: "), 1);
  EXPECT_EQ(lines_with(" isrc_gmesh1= "), 2);
  EXPECT_GT(lines_with(" i_green    = "), 2);
  EXPECT_EQ(lines_with(" isrc_gmesh2= 41  npart = 41"), 1);
  expect_same(csr_g_to_p, 1e-10, 1500);  // several blocks
  EXPECT_GT(lines_with("--- required flags ? ---: "), 1);
}

// With many sources and points all rows are computed, without asking which ones are needed.
TEST_F(Group, ComputesAllRowsWhereThatIsLessWork) {
  cloud(3000);
  for (std::int32_t i = 2; i <= 3000; ++i) ptlcom_store.source[i] = i % 3 == 0;
  expect_same(csr_g_to_p, 1e-12);
  EXPECT_EQ(lines_with(" isrc_gmesh1= "), 0);
}

// The first evaluation leaves the rows out that it does not need. A further one at the same time keeps the
// mesh, and other places of the particles need other rows of it.
TEST_F(Group, FillsTheRowsThatAKeptMeshLacks) {
  cloud(25);
  const ParticleTable& particles = ptlcom.particle;
  const std::vector<Particle> start(&particles[1], &particles[1] + 25);
  long marked = 0;
  const auto twice = [&] {
    std::copy(start.begin(), start.end(), &ptlcom_store.particle[1]);
    grnrst();
    forces(csr_g_to_p, 1);
    marked = lines_with(" isrc_gmesh1= ");
    for (int i = 2; i <= 25; ++i) {
      ptlcom_store.particle[i].x *= 0.3 + 0.05 * (i % 7);
      ptlcom_store.particle[i].y *= -0.4;
    }
    return forces(csr_g_to_p, 1);
  };
  const auto alone = twice();
  EXPECT_LT(deviation(alone, shared(twice)), 1e-12 * size(alone));
  EXPECT_EQ(marked, 2);
  EXPECT_EQ(lines_with("using old green's function"), 1);
}

}  // namespace
}  // namespace tessaron
