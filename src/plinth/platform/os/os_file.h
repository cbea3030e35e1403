// Directories, file removal, file status, and the registry of files that
// this process holds open for logging. Failures throw os_file_toolkit_error
// where stated.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_error.h"

class PLINTH_API os_directory {
public:
  // Reads the names at construction; throws os_file_toolkit_error when the
  // directory cannot be listed.
  os_directory(const std::string& path, int flags = 0);
  // All names, "." and ".." included, in the order the system gives them.
  const std::vector<std::string>& filenames() const { return m_vNames; }

private:
  std::vector<std::string> m_vNames;
};

class PLINTH_API os_file_system {
public:
  // Removes a file; a missing file is not an error. Throws on any other failure.
  static void remove_if_exists(const std::string& path);
  static bool exists(const std::string& path);
  static bool is_directory(const std::string& path);
  // A regular file, or a link to one: not a directory, pipe or device.
  static bool is_regular_file(const std::string& path);
};

class PLINTH_API os_io_status {
public:
  // Throws os_file_toolkit_error when the path cannot be examined.
  explicit os_io_status(const std::string& path);
  // Seconds since the epoch.
  int64_t last_modification_time() const { return m_nModified; }
  uint64_t size() const { return m_nSize; }

private:
  int64_t m_nModified = 0;
  uint64_t m_nSize = 0;
};

// Open and close log files so that clean-up code can tell whether a file on
// disk is one this process is writing: on Linux an open file can be
// unlinked, and its lines would vanish. Thread-safe.
namespace os_log_files {
// fopen that records the file; null on failure, errno set.
PLINTH_API FILE* open(const std::string& path, const char* mode);
// fclose that forgets the file; returns fclose's result.
PLINTH_API int close(FILE* file);
// Whether the path names a file that open() gave and close() hasn't taken back.
PLINTH_API bool is_held_open(const std::string& path);
// Writes all bytes to an unbuffered stream with one system call where the
// kernel takes them at once, bypassing stdio's per-call bookkeeping (the
// stream holds no buffered data to overtake). False with errno set when not
// every byte was written; the bytes that were written are then cut off
// again where the file allows it (a regular file opened for appending).
PLINTH_API bool write_all(FILE* file, const char* data, size_t size);
}  // namespace os_log_files
