// What an app calls its columns and modes, from a file or from the command line.
#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "profile.pb.h"

namespace kelvane_hub {

/// Reads a profile (text format of profile.proto). `name` stands for the file in errors. Throws InputError, a line for
/// each mistake: "name:line:column: …".
import_profile parse_profile(const std::string& text, const std::string& name);

/// The file that `name` means: itself if it has a slash, else name.textproto in the first of the folders that has it.
/// Throws InputError that says which there are.
std::filesystem::path find_profile(const std::string& name, std::span<const std::filesystem::path> folders);

/// Takes "RSRP=rsrp_dbm", our name and theirs, into the profile. Throws InputError that shows `text`.
void add_column(import_profile& profile, const std::string& text);

/// Takes "NR_SA=5G", their name and ours, into the profile. Throws InputError that shows `text`.
void add_mode(import_profile& profile, const std::string& text);

}  // namespace kelvane_hub
