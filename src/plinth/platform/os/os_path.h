// os_path: a file system path held as text, handed to the calls that open
// files through its conversion to char const*. A value type without shared
// state; nothing in it fails.
#pragma once

#include <string>

#include "plinth/plinth_export.h"

class PLINTH_API os_path {
public:
  os_path() = default;
  os_path(char const* text) : m_sPath(text != nullptr ? text : "") {}
  os_path(std::string const& text) : m_sPath(text) {}

  // The text, valid as long as the object lives unchanged.
  operator char const*() const { return m_sPath.c_str(); }
  std::string const& str() const { return m_sPath; }

private:
  std::string m_sPath;
};
