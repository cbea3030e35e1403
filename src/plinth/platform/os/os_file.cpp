#include "plinth/platform/os/os_file.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "plinth/platform/crash_io.h"

os_file_toolkit_error::os_file_toolkit_error(long code, const std::string& context)
    : os_toolkit_error(code, context + ": " + description(code)) {}

std::string os_file_toolkit_error::description(long code) {
  char buf[256];
  // GNU strerror_r may return a static string instead of filling buf.
  const char* text = strerror_r(static_cast<int>(code), buf, sizeof buf);
  return text ? text : "unknown error";
}

os_directory::os_directory(const std::string& path, int /*flags*/) {
  DIR* dir = opendir(path.empty() ? "." : path.c_str());
  if (!dir) throw os_file_toolkit_error(errno, "cannot list directory '" + path + "'");
  while (struct dirent* entry = readdir(dir)) m_vNames.emplace_back(entry->d_name);
  closedir(dir);
}

void os_file_system::remove_if_exists(const std::string& path) {
  if (unlink(path.c_str()) == 0 || errno == ENOENT) return;
  throw os_file_toolkit_error(errno, "cannot remove '" + path + "'");
}

bool os_file_system::exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

bool os_file_system::is_directory(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool os_file_system::is_regular_file(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

os_io_status::os_io_status(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0)
    throw os_file_toolkit_error(errno, "cannot examine '" + path + "'");
  m_nModified = st.st_mtime;
  m_nSize = static_cast<uint64_t>(st.st_size);
}

namespace {
struct FileIdentity {
  dev_t dev;
  ino_t ino;
};

// Guarded by its own mutex: the diagnostics and the message logger open and
// close files from different threads.
struct OpenFiles {
  std::mutex lock;
  std::unordered_map<FILE*, FileIdentity> files;
};

OpenFiles& open_files() {
  // Leaked on purpose: files may be closed by destructors that run after
  // static destruction has begun.
  static OpenFiles* registry = new OpenFiles;
  return *registry;
}
}  // namespace

namespace os_log_files {
FILE* open(const std::string& path, const char* mode) {
  // Close-on-exec whatever the caller's mode says.
  std::string flags = mode ? mode : "r";
  if (flags.find('e') == std::string::npos) flags += 'e';
  FILE* file = fopen(path.c_str(), flags.c_str());
  if (!file) return nullptr;
  struct stat st;
  if (fstat(fileno(file), &st) == 0) {
    OpenFiles& reg = open_files();
    std::lock_guard<std::mutex> guard(reg.lock);
    reg.files[file] = FileIdentity{st.st_dev, st.st_ino};
  }
  return file;
}

int close(FILE* file) {
  if (!file) return 0;
  {
    OpenFiles& reg = open_files();
    std::lock_guard<std::mutex> guard(reg.lock);
    reg.files.erase(file);
  }
  return fclose(file);
}

bool write_all(FILE* file, const char* data, size_t size) {
  const int fd = fileno(file);
  size_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd, data + done, size - done);
    if (n > 0) {
      done += static_cast<size_t>(n);
    } else if (n == 0 || errno != EINTR) {
      break;
    }
  }
  if (done == size) return true;
  // A line that didn't fit leaves no fragment: the file is cut back to where
  // the line began, so the next accepted line stands on a line of its own.
  // Only a regular file can be cut; the file is opened for appending, so the
  // line's bytes are the last ones in it.
  const int saved = errno;
  struct stat st;
  if (done > 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size >= static_cast<off_t>(done)) {
    while (ftruncate(fd, st.st_size - static_cast<off_t>(done)) != 0 && errno == EINTR) {
    }
  }
  errno = saved;
  return false;
}

bool is_held_open(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return false;
  OpenFiles& reg = open_files();
  std::lock_guard<std::mutex> guard(reg.lock);
  for (const auto& [file, id] : reg.files)
    if (id.dev == st.st_dev && id.ino == st.st_ino) return true;
  return false;
}
}  // namespace os_log_files
