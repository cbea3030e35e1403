// File streams whose descriptor is close-on-exec, so a host's child
// processes don't inherit the library's files (std::fstream can't ask for
// O_CLOEXEC). One thread at a time uses a stream; a failed open leaves it
// closed (is_open() false), as std::fstream does.
#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "plinth/plinth_export.h"

class PLINTH_API os_ifstream : public std::istream {
public:
  os_ifstream();
  ~os_ifstream() override;
  os_ifstream(const os_ifstream&) = delete;
  os_ifstream& operator=(const os_ifstream&) = delete;

  // Opens for reading, in binary.
  bool open(const std::string& path);
  bool is_open() const { return m_pBuf != nullptr; }
  void close();

private:
  std::unique_ptr<std::streambuf> m_pBuf;
};

class PLINTH_API os_ofstream : public std::ostream {
public:
  os_ofstream();
  ~os_ofstream() override;
  os_ofstream(const os_ofstream&) = delete;
  os_ofstream& operator=(const os_ofstream&) = delete;

  // Opens for writing, created with 0644 if needed, emptied first.
  bool open(const std::string& path);
  bool is_open() const { return m_pBuf != nullptr; }
  void close();

private:
  std::unique_ptr<std::streambuf> m_pBuf;
};
