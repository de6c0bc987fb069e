#include "field/images/straight_entrance.hpp"

#include <algorithm>

#include "common/end_request.hpp"
#include "field/path/path_query.hpp"
#include "field/source_record.hpp"

namespace tessaron {

namespace {

constexpr double c = speed_of_light;
constexpr double weights[5] = {0.077777777777777779, 0.35555555555555557, 0.13333333333333333,
                               0.35555555555555557, 0.077777777777777779};

void add_node(double y, double weight, const Density& density, NodeBlock& block) {
  const int n = ++block.n;
  block.y[n] = y;
  block.lambda[n] = weight * density.lambda;
  block.lambda_t[n] = weight * density.lambda_t / c;
}
/// Fills the last lanes up with nodes that count nothing.
void complete(NodeBlock& block) {
  while (block.n % lane_count != 0) add_node(block.y[block.n], 0, {}, block);
}

/// The line of the entrance, and where the observer stands from it.
struct Line {
  double s_st, t_p, gamma, beta, v;
  Vec3 r, e;
  double s_o;  // path coordinate of the observer's projection
};

Line line_at(const PathRecord& path, double s_st, const Vec3& observer) {
  const PathPoint at = pthval(path, s_st);
  Line line{s_st, at.t, at.gamma, path.beta, c * path.beta, vec3(at.r), vec3(at.e), 0};
  line.s_o = s_st + dot(line.e, observer - line.r);
  return line;
}

/// Lays Boole panels over the bunch and hands the nodes out in blocks. `rho2` is the squared distance of the
/// nearest charge from the observer's line; the panels are short where it passes.
template <class TakeBlock>
void integrate_over_bunch(const FieldSource& source, double t, const Line& line, double rho2,
                          NodeBlock& block, TakeBlock&& take) {
  const ProfileRecord& profile = source.profile;
  block.n = 0;
  const double tl = profile.t_length(), nearest2 = rho2 / (line.gamma * line.gamma);
  const double longest = 2 * line.v * profile.sigmat;
  const double turning = -std::sqrt(nearest2) / 1.7320508075688772;
  const double end = (t + tl) * line.v - line.s_o;
  const auto density = [&](double y) {
    return lamget(profile, source.path, line.s_st, line.t_p - ((y + line.s_o) / line.v - t));
  };

  double y0 = (t - tl) * line.v - line.s_o;
  Density at_start = density(y0);
  constexpr int most_panels = 20000;
  for (int panel = 0; y0 < end && panel < most_panels; ++panel) {
    const double w2 = y0 * y0 + nearest2;
    double length = std::min(longest, y0 >= turning ? std::sqrt(w2) : -w2 / (2 * y0));
    // On the very line of the charge the panels would shrink for ever.
    if (!(length > 1e-12 * longest)) length = 1e-12 * longest;
    if (block.n + 5 > NodeBlock::capacity - lane_count) {
      complete(block);
      take(block);
      block.n = 0;
    }
    for (int i = 0; i <= 4; ++i) {
      const double y = y0 + i * length / 4;
      if (i > 0) at_start = density(y);
      add_node(y, weights[i] * length, at_start, block);
    }
    y0 = y0 + 4 * length / 4;
  }
  complete(block);
  take(block);
}

/// The sums over the bunch, in the frame of the line.
struct Sums {
  double phi = 0, phi_t = 0;
  Vec3 ev;
};

void fill_slots(const Line& line, const Vec3& e_line, const Vec3& e, const Sums& sums, Slots& value) {
  const Vec3 ev = coulomb_constant * sums.ev;
  value.cb = line.beta * cross(e_line, ev);
  value.force = ev / (line.gamma * line.gamma) - line.beta * cross(e_line - e, value.cb);
  value.phi = coulomb_constant * sums.phi;
  value.phi_t = coulomb_constant * sums.phi_t;
  value.a = e_line * (line.beta * value.phi / c);
  value.a_t = e_line * (line.beta * value.phi_t / c);
}

/// Sums over one block of nodes for a charge at the squared distance a across the line, all times `factor`.
struct ImageSums {
  double phi = 0, phi_t = 0;
  double across = 0;  // of (lambda_t / c + lambda / R) / (R W)
  double along = 0;   // the same times z_l
};

/// The numbers of a line that the inner loop reads.
struct LineFactors {
  double beta, gamma2;
};

TESSARON_CLONES void sum_nodes(const double* y, const double* lambda, const double* lambda_t, int n,
                               const LineFactors& line, double a, ImageSums& out) {
  const double near2 = a / line.gamma2, beta = line.beta, gamma2 = line.gamma2;
  Lanes phi{}, phi_t{}, across{}, along{};
  for (int i = 0; i < n; i += lane_count) {
    const Lanes at = lanes_at(y + i), l = lanes_at(lambda + i), l_t = lanes_at(lambda_t + i);
    const Lanes w = sqrt_of(at * at + near2), inv_w = 1.0 / w;
    const Lanes inv_r = (beta * at + w) / (at * at + a);
    const Lanes term = (l_t + l * inv_r) * (inv_r * inv_w);
    phi += l * inv_w;
    phi_t += l_t * inv_w;
    across += term;
    along += ((at - beta * w) * gamma2) * term;
  }
  out = {sum_of(phi), c * sum_of(phi_t), sum_of(across), sum_of(along)};
}

ImageSums sum_block(const NodeBlock& block, const Line& line, double a) {
  ImageSums sum;
  sum_nodes(block.y.run(1, block.n).data(), block.lambda.run(1, block.n).data(),
            block.lambda_t.run(1, block.n).data(), block.n, {line.beta, line.gamma * line.gamma}, a, sum);
  return sum;
}

}  // namespace

Entrance find_entrance(const FieldSettings& set, const PathRecord& path) {
  const double far = 2 * set.slow - set.shigh;
  const PathPoint start = pthval(path, far);
  const auto straight = [](const PathPoint& p) {
    return p.e_prime[0] == 0 && p.e_prime[1] == 0 && p.e_prime[2] == 0;
  };
  if (!straight(start)) return {};
  double low = far, high = set.shigh;
  Vec3 r_low = vec3(start.r);
  while (high - low > c * set.sigmat) {
    const double middle = (low + high) / 2;
    if (!(low < middle && middle < high)) break;
    const PathPoint p = pthval(path, middle);
    const bool in_line =
        dot(vec3(p.r) - r_low, vec3(start.e)) + low - middle > -1.0000000000000001e-15 * (high - low);
    if (straight(p) && in_line) {
      low = middle;
      r_low = vec3(p.r);
    } else {
      high = middle;
    }
  }
  return {true, low, start.e[2]};
}

void fimlin(const FieldSource& source, double t, const Vec3& r, const Vec3& e, double s_st, NodeBlock& nodes,
            Slots& value) {
  const Line line = line_at(source.path, s_st, r);
  const Vec3 offset = r - line.r, rho = offset - line.e * dot(line.e, offset);
  const double rho2 = dot(rho, rho);
  Sums sums;
  integrate_over_bunch(source, t, line, rho2, nodes, [&](const NodeBlock& block) {
    const ImageSums part = sum_block(block, line, rho2);
    sums.phi += part.phi;
    sums.phi_t += part.phi_t;
    sums.ev += rho * part.across - line.e * part.along;
  });
  fill_slots(line, line.e, e, sums, value);
}

void fimsum(const FieldSource& source, double t, const Vec3& r, const Vec3& e, double s_st, int n0,
            int n_last, const ImageRow& row, NodeBlock& nodes, Slots& value) {
  const Line line = line_at(source.path, s_st, r);
  const Vec3 plane_e{line.e.x, line.e.y, 0};
  const Vec3 offset{r.x - line.r.x, r.y - line.r.y, 0}, rho = offset - plane_e * dot(plane_e, offset);
  const double dz = r.z - line.r.z, rho2 = rho.x * rho.x + rho.y * rho.y;
  const bool symmetric = r.z == 0 && line.r.z == 0;
  const double nearest = dz - (r.z >= line.r.z ? 1 : -1) * (n0 * row.hc);

  Sums sums;
  integrate_over_bunch(source, t, line, rho2 + nearest * nearest, nodes, [&](const NodeBlock& block) {
    for (int n = n0; n <= n_last && !end_requested(); ++n) {
      const double factor = row.sign(n) * row.taper(n) * (symmetric ? 2 : 1);
      for (const double height : {dz - n * row.hc, dz + n * row.hc}) {
        const ImageSums part = sum_block(block, line, height * height + rho2);
        sums.phi += factor * part.phi;
        sums.phi_t += factor * part.phi_t;
        sums.ev += factor * (rho * part.across - plane_e * part.along);
        if (symmetric) break;  // the image on the other side has the same field and the opposite height
        sums.ev.z += factor * height * part.across;
      }
    }
  });
  fill_slots(line, plane_e, {e.x, e.y, 0}, sums, value);
}

}  // namespace tessaron
