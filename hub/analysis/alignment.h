// What two sequences have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kelvane_hub {

/// So many differences apart the search for the shortest difference within a piece of both sequences is given up, and
/// goes on from as far as it has come.
inline constexpr std::ptrdiff_t longest_search = 1000;

/// For each element of `before` the one of `after` that it is; both in order, so that as many as possible are found
/// again, unless the sequences differ in much more than `longest_search` places that moved; of several in a row that
/// are the same, the first. Myers' algorithm, without
/// the elements that only one sequence has, in linear space. Takes time of (elements + `longest_search`) times
/// `longest_search` at most, and memory of a few words an element.
std::vector<std::optional<std::size_t>> align(std::span<const std::uint32_t> before,
                                              std::span<const std::uint32_t> after);

}  // namespace kelvane_hub
