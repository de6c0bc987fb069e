#pragma once
#include <array>
#include <cstddef>
#include <span>
#include <utility>

namespace tessaron {

#ifdef TESSARON_CHECK_INDEX
inline constexpr bool check_index = true;
#else
inline constexpr bool check_index = false;
#endif

/// Prints the index and the range on standard error and aborts: a programmer's fault.
[[noreturn]] void index_failure(long index, long first, long last);

/// A table of fixed capacity with cells First .. First+N-1, numbered as the formulas count. It never
/// allocates; large tables are static storage. Debug builds check every index.
template <class T, int N, int First = 1>
class Table {
 public:
  static constexpr int capacity = N;

  constexpr T& operator[](int i) { return cells_[offset(i)]; }
  constexpr const T& operator[](int i) const { return cells_[offset(i)]; }

  /// The n cells from cell `first` on, as a contiguous run for a hot loop (counted from 0 there).
  constexpr std::span<T> run(int first, int n) { return {cells_.data() + run_offset(first, n), size_of(n)}; }
  constexpr std::span<const T> run(int first, int n) const {
    return {cells_.data() + run_offset(first, n), size_of(n)};
  }

  constexpr void fill(const T& value) { cells_.fill(value); }

 private:
  static constexpr std::size_t size_of(int n) { return static_cast<std::size_t>(n > 0 ? n : 0); }
  static constexpr std::size_t offset(int i) {
    if constexpr (check_index) {
      if (i < First || i > First + N - 1) index_failure(i, First, First + N - 1);
    }
    return static_cast<std::size_t>(i - First);
  }
  static constexpr std::size_t run_offset(int first, int n) {
    if (n <= 0) return 0;
    if constexpr (check_index) offset(first + n - 1);
    return offset(first);
  }
  std::array<T, N> cells_{};
};

/// Stands for a table and is used as one. Two slots can exchange their tables, so that nothing has to be
/// copied.
template <class TableType>
class TableSlot {
 public:
  constexpr explicit TableSlot(TableType& table) : table_(&table) {}
  TableSlot(const TableSlot&) = delete;
  TableSlot& operator=(const TableSlot&) = delete;

  constexpr operator TableType&() { return *table_; }
  constexpr operator const TableType&() const { return *table_; }
  constexpr auto& operator[](int i) { return (*table_)[i]; }
  constexpr const auto& operator[](int i) const { return std::as_const(*table_)[i]; }
  constexpr auto run(int first, int n) { return table_->run(first, n); }
  constexpr auto run(int first, int n) const { return std::as_const(*table_).run(first, n); }

  constexpr void exchange(TableSlot& other) { std::swap(table_, other.table_); }

 private:
  TableType* table_;
};

}  // namespace tessaron
