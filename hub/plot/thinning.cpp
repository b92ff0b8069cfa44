#include "hub/plot/thinning.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace kelvane_hub {
namespace {

/// Times of equal length, by number.
class Buckets {
 public:
  Buckets(const Track& track, int count) : begin_(track.begin), width_((track.end - track.begin) / count) {}

  double width() const { return width_; }
  double number_of(double time) const { return std::floor((time - begin_) / width_); }

 private:
  double begin_;
  double width_;
};

// ---- curves ----

/// The points of a curve that fall into one bucket.
class Crowd {
 public:
  void add(const Point& point, bool begins_stretch) {
    points_.push_back(point);
    if (points_.size() == 1) begins_ = begins_stretch;
  }

  bool empty() const { return points_.empty(); }
  bool begins_stretch() const { return begins_; }

  /// The first, the lowest, the highest and the last, in order of time.
  Stretch take() {
    constexpr std::size_t most = 4;
    Stretch kept = std::exchange(points_, {});
    if (kept.size() <= most) return kept;
    const auto [lowest, highest] = std::ranges::minmax_element(kept, {}, &Point::value);
    return {kept.front(), *std::min(lowest, highest), *std::max(lowest, highest), kept.back()};
  }

 private:
  std::vector<Point> points_;
  bool begins_ = false;
};

/// Appends the crowd to the last stretch, or as a new one.
void settle(std::vector<Stretch>& stretches, Crowd& crowd) {
  if (crowd.empty()) return;
  if (crowd.begins_stretch()) stretches.emplace_back();
  const Stretch kept = crowd.take();
  stretches.back().insert(stretches.back().end(), kept.begin(), kept.end());
}

void thin(Curve& curve, const Buckets& buckets) {
  std::vector<Stretch> thin_ones;
  Crowd crowd;
  double bucket = -1;
  for (const Stretch& stretch : curve.stretches) {
    for (const Point& point : stretch) {
      if (const double number = buckets.number_of(point.time); number != bucket) {
        settle(thin_ones, crowd);
        bucket = number;
      }
      crowd.add(point, &point == &stretch.front());
    }
  }
  settle(thin_ones, crowd);
  curve.stretches = std::move(thin_ones);
}

// ---- states ----

/// Short states of one bucket.
class ShortSpans {
 public:
  void add(const Span& span) {
    if (spans_.empty()) begin_ = span.begin;
    spans_[span.state] += span.end - span.begin;
    end_ = span.end;
  }

  /// One in their place, at least `width` long.
  void settle(std::vector<Span>& spans, double width) {
    if (spans_.empty()) return;
    const auto longest = std::ranges::max_element(spans_, {}, [](const auto& state) { return state.second; });
    spans.push_back({begin_, std::max(end_, begin_ + width), longest->first});
    spans_.clear();
  }

 private:
  std::map<std::int32_t, double> spans_;  // how long each state holds
  double begin_ = 0;
  double end_ = 0;
};

void thin(std::vector<Span>& spans, const Buckets& buckets) {
  std::vector<Span> thin_ones;
  ShortSpans short_ones;
  double bucket = -1;
  for (const Span& span : spans) {
    const bool is_short = span.end - span.begin < buckets.width();
    const double number = buckets.number_of(span.begin);
    if (!is_short || number != bucket) short_ones.settle(thin_ones, buckets.width());
    bucket = number;
    if (is_short) {
      short_ones.add(span);
    } else {
      thin_ones.push_back(span);
    }
  }
  short_ones.settle(thin_ones, buckets.width());
  spans = std::move(thin_ones);
}

void thin(std::vector<double>& times, const Buckets& buckets) {
  const auto same_bucket = [&buckets](double one, double other) {
    return buckets.number_of(one) == buckets.number_of(other);
  };
  times.erase(std::unique(times.begin(), times.end(), same_bucket), times.end());
}

}  // namespace

Track thinned(Track track, int count) {
  const Buckets buckets(track, count);
  for (auto& subscription : track.subscriptions) {
    for (Curve& curve : subscription.curves) thin(curve, buckets);
    for (auto& [strip, spans] : subscription.strips) thin(spans, buckets);
    thin(subscription.cell_changes, buckets);
    thin(subscription.technology_changes, buckets);
  }
  return track;
}

}  // namespace kelvane_hub
