#include "hub/analysis/alignment.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace kelvane_hub {
namespace {

using Place = std::ptrdiff_t;

/// A piece of both sequences, ends excluded.
struct Box {
  Place before_begin, before_end;
  Place after_begin, after_end;

  Place width() const { return before_end - before_begin; }
  Place height() const { return after_end - after_begin; }
};

/// A point of a box, counted from the corner that a search begins at.
struct Point {
  Place x = 0;
  Place y = 0;
};

/// The points that are farthest from a corner of a box, by diagonal (x - y), with so many elements left out.
class Front {
 public:
  /// Begins anew, at nowhere.
  void reset() {
    farthest_.assign(static_cast<std::size_t>(2 * longest_search + 3), nowhere_);
    left_out_ = -1;
  }

  Place left_out() const { return left_out_; }

  /// The farthest x on that diagonal; negative if there is none.
  Place at(Place diagonal) const {
    return diagonal < -longest_search - 1 || diagonal > longest_search + 1 ? nowhere_ : farthest_[index(diagonal)];
  }

  /// Leaves out one element more. `is_same(x, y)` compares elements of the box, which has that size. Stops at the first
  /// diagonal of which `has_met(point)` is true, and returns that point.
  template <class IsSame, class HasMet>
  std::optional<Point> advance(const Box& box, const IsSame& is_same, const HasMet& has_met) {
    ++left_out_;
    for (Place diagonal = -left_out_; diagonal <= left_out_; diagonal += 2) {
      Place x = left_out_ == 0 ? 0 : next(box, diagonal);
      Place y = x - diagonal;
      while (x >= 0 && x < box.width() && y < box.height() && is_same(x, y)) ++x, ++y;
      farthest_[index(diagonal)] = x;
      if (x >= 0 && has_met(Point{x, y})) return Point{x, y};
    }
    return {};
  }

  /// The point that has left most behind.
  Point best() const {
    Point best;
    for (Place diagonal = -left_out_; diagonal <= left_out_; diagonal += 2) {
      const Place x = at(diagonal);
      if (x >= 0 && 2 * x - diagonal > best.x + best.y) best = {x, x - diagonal};
    }
    return best;
  }

 private:
  static constexpr Place nowhere_ = -1;

  static std::size_t index(Place diagonal) { return static_cast<std::size_t>(diagonal + longest_search + 1); }

  /// From the diagonals beside it, within the box.
  Place next(const Box& box, Place diagonal) const {
    const Place across = at(diagonal - 1);
    const Place down = at(diagonal + 1);
    const bool is_across = across >= 0 && across < box.width();
    const bool is_down = down >= 0 && down - diagonal <= box.height();
    return std::max(is_across ? across + 1 : nowhere_, is_down ? down : nowhere_);
  }

  std::vector<Place> farthest_;
  Place left_out_ = -1;
};

class Aligner {
 public:
  Aligner(std::span<const std::uint32_t> before, std::span<const std::uint32_t> after)
      : before_(before), after_(after), partners_(before.size()) {}

  std::vector<std::optional<std::size_t>> align() {
    align({0, std::ssize(before_), 0, std::ssize(after_)});
    return std::move(partners_);
  }

 private:
  bool is_same(Place before, Place after) const {
    return before_[static_cast<std::size_t>(before)] == after_[static_cast<std::size_t>(after)];
  }

  void pair(Place before, Place after) {
    partners_[static_cast<std::size_t>(before)] = static_cast<std::size_t>(after);
  }

  void pair_ends(Box& box) {
    for (; box.width() > 0 && box.height() > 0 && is_same(box.before_begin, box.after_begin);
         ++box.before_begin, ++box.after_begin) {
      pair(box.before_begin, box.after_begin);
    }
    for (; box.width() > 0 && box.height() > 0 && is_same(box.before_end - 1, box.after_end - 1);
         --box.before_end, --box.after_end) {
      pair(box.before_end - 1, box.after_end - 1);
    }
  }

  // The depth is that of halving a search, and a level for each time that one is given up.
  void align(Box box) {  // NOLINT(misc-no-recursion)
    for (;;) {
      pair_ends(box);
      if (box.width() == 0 || box.height() == 0) return;
      const auto [x, y] = split(box);
      align({box.before_begin, box.before_begin + x, box.after_begin, box.after_begin + y});
      box.before_begin += x;
      box.after_begin += y;
    }
  }

  /// A point on the shortest way through `box`, or a good one, that is neither its beginning nor its end. The elements
  /// at its ends are not the same.
  Point split(const Box& box) {
    forward_.reset();
    backward_.reset();
    const auto have_met = [&box](const Front& other, Point point) {
      return point.x + other.at(box.width() - box.height() - (point.x - point.y)) >= box.width() &&
             other.at(box.width() - box.height() - (point.x - point.y)) >= 0;
    };
    const auto from_end = [&box](Point point) { return Point{box.width() - point.x, box.height() - point.y}; };
    do {
      if (const auto met = forward_.advance(
              box, [&](Place x, Place y) { return is_same(box.before_begin + x, box.after_begin + y); },
              [&](Point point) { return have_met(backward_, point); })) {
        return *met;
      }
      if (const auto met = backward_.advance(
              box, [&](Place x, Place y) { return is_same(box.before_end - 1 - x, box.after_end - 1 - y); },
              [&](Point point) { return have_met(forward_, point); })) {
        return from_end(*met);
      }
    } while (forward_.left_out() < longest_search);
    const Point ahead = forward_.best();
    const Point behind = backward_.best();
    return ahead.x + ahead.y >= behind.x + behind.y ? ahead : from_end(behind);
  }

  std::span<const std::uint32_t> before_;
  std::span<const std::uint32_t> after_;
  std::vector<std::optional<std::size_t>> partners_;
  Front forward_;
  Front backward_;
};

/// Where an element stands several times in a row, its first ones are found again: those behind them said nothing new.
void prefer_first(std::span<const std::uint32_t> before, std::span<const std::uint32_t> after,
                  std::vector<std::optional<std::size_t>>& partners) {
  for (std::size_t i = 0, first = 0; i < before.size(); ++i) {
    if (i == 0 || before[i] != before[i - 1]) first = i;
    if (partners[i]) std::swap(partners[first++], partners[i]);
  }
  for (std::size_t next = 0; auto& partner : partners) {
    if (!partner) continue;
    while (*partner > next && after[*partner - 1] == after[*partner]) --*partner;
    next = *partner + 1;
  }
}

/// Those of `elements` that `others` have, too, and where they were.
struct Common {
  Common(std::span<const std::uint32_t> all, std::span<const std::uint32_t> others) {
    const std::unordered_set<std::uint32_t> known(others.begin(), others.end());
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (!known.contains(all[i])) continue;
      elements.push_back(all[i]);
      places.push_back(i);
    }
  }

  std::vector<std::uint32_t> elements;
  std::vector<std::size_t> places;
};

}  // namespace

std::vector<std::optional<std::size_t>> align(std::span<const std::uint32_t> before,
                                              std::span<const std::uint32_t> after) {
  const Common left(before, after);
  const Common right(after, before);
  const auto partners = Aligner(left.elements, right.elements).align();
  std::vector<std::optional<std::size_t>> all(before.size());
  for (std::size_t i = 0; i < partners.size(); ++i) {
    if (partners[i]) all[left.places[i]] = right.places[*partners[i]];
  }
  prefer_first(before, after, all);
  return all;
}

}  // namespace kelvane_hub
