// Small questions to the system that several subsystems ask.
#pragma once

#include <string>

namespace plinth::platform {
// The host name as gethostname gives it; empty on failure.
std::string host_name();
unsigned long process_id();
// The system's text for an errno value.
std::string error_text(int errnum);
}  // namespace plinth::platform
