// What is wrong with the value of an option: a line "expected …, found …", or an empty one.
#pragma once

#include <string>

namespace kelvane_hub {

/// Of a file that is made.
std::string check_file(const std::string& given);
std::string check_capture(const std::string& given);

std::string check_speed(const std::string& given);

/// Of a run, which can be as fast as can be, too.
std::string check_run_speed(const std::string& given);

/// How often a scenario is to be played.
std::string check_times(const std::string& given);

std::string check_seed(const std::string& given);

/// How long a run may take, in seconds.
std::string check_timeout(const std::string& given);

/// A place in a picture, in seconds from the start.
std::string check_place(const std::string& given);

/// The number of a subscription.
std::string check_sub(const std::string& given);
std::string check_session(const std::string& given);

/// What a file to import is.
std::string check_source(const std::string& given);

/// The format of a report.
std::string check_format(const std::string& given);
std::string check_line_format(const std::string& given);
std::string check_filter(const std::string& given);

/// The format of a summary.
std::string check_summary_format(const std::string& given);

}  // namespace kelvane_hub
