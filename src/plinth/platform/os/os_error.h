// Errors of the platform layer. Thrown by the os_ classes that say so; the
// subsystems catch them and turn them into their own codes or messages.
#pragma once

#include "plinth/plinth_export.h"

#include <stdexcept>
#include <string>

class PLINTH_API os_toolkit_error : public std::runtime_error {
public:
  os_toolkit_error(long code, const std::string& text)
      : std::runtime_error(text), m_nCode(code) {}
  long code() const noexcept { return m_nCode; }

private:
  long m_nCode;
};

// A file or directory operation failed; code() is the errno value.
class PLINTH_API os_file_toolkit_error : public os_toolkit_error {
public:
  os_file_toolkit_error(long code, const std::string& context);
  // The system's text for an error code.
  static std::string description(long code);
};
