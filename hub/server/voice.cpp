#include "hub/server/voice.h"

#include <unistd.h>

#include <limits>

#include "hub/base/diagnostic.h"

namespace kelvane_hub {
namespace {

constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

// In the order of About. Whoever breaks the rules over and over would fill a disk with it.
constexpr LineCause causes[] = {{"the hub", any_number},
                                {"clients", 100},
                                {"the scenario", any_number},
                                {"decisions", any_number},
                                {"progress", any_number}};

}  // namespace

Voice::Voice() : lines_(STDERR_FILENO, hub_speaker, causes) {}

}  // namespace kelvane_hub
