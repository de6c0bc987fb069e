#include "lattice/lattice_definition.hpp"
#include "run/files/file_table.hpp"
#include "run/line_writer.hpp"

namespace tessaron {

namespace {

/// The file under construction; the first failure of a write is kept.
class Listing {
 public:
  explicit Listing(int stream) : stream_(stream) {}
  template <class... Items>
  void record(const Items&... items) {
    put(FreeForm(items...).view());
  }
  void empty_record() { put({}); }
  Status status() const { return status_; }

 private:
  void put(std::string_view line) { keep_first(status_, fiwrite(stream_, line)); }
  int stream_;
  Status status_ = ok;
};

constexpr const char* dashes = "------------------------------------------------";  // 48

void list_boundary(Listing& out, int i) {
  const Boundary& b = latcom.bnd[i];
  const double reals[] = {b.x, b.y, b.tx, b.ty, b.nx, b.ny, b.s, b.r};
  for (int j = 1; j <= 8; ++j) out.record(j, reals[j - 1]);
  out.empty_record();
  const Element& e = latcom.elem[i];
  const std::int32_t integers[] = {static_cast<std::int32_t>(e.kind), e.subtype, e.iend, e.rend};
  for (int j = 1; j <= 4; ++j) out.record(j, integers[j - 1]);
}

/// Entries first..last of a pool, if there are any, under their places in the pool.
template <class Pool>
void list_private(Listing& out, const char* title, const Pool& pool, int first, int last) {
  if (last < first) return;
  out.empty_record();
  out.record(title);
  for (int k = first; k <= last; ++k) out.record(k, pool[k]);
}

void list_lattice(Listing& out) {
  int iprev = 0, rprev = 0;
  for (int i = 1; i <= latcom.nlat; ++i) {
    const std::string_view word = latcom.marker[i].word();
    out.record(dashes);
    out.record("i=", i, "  marker=", word.empty() ? std::string_view(" ") : word, "  duty=", latcom.duty[i]);
    out.empty_record();
    list_boundary(out, i);
    const Element& element = latcom.elem[i];
    list_private(out, "  private integers", latcom.ipool, iprev + 1, element.iend);
    list_private(out, "  private reals", latcom.rpool, rprev + 1, element.rend);
    iprev = element.iend;
    rprev = element.rend;
  }
  out.record(dashes);
}

}  // namespace

void latout() {
  int stream = 0;
  Status status = fiopno("latout.dat", stream);
  if (status == ok) {
    Listing out(stream);
    list_lattice(out);
    status = out.status();
    keep_first(status, ficlos(stream));
  }
  if (status != ok) msgout("cannot write latout.dat");
}

}  // namespace tessaron
