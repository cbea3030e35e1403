// Scratch directories and small file helpers for tests.
#pragma once

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace plinth_test {

// A fresh directory under $TMPDIR, removed with its contents at the end.
class TempDir {
public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string templ = std::string(base ? base : "/tmp") + "/plinth-test-XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) std::abort();
    m_sPath = buf.data();
  }
  ~TempDir() { RemoveTree(m_sPath); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return m_sPath; }
  std::string operator/(const std::string& name) const { return m_sPath + "/" + name; }

  // Names in the directory, "." and ".." left out, sorted.
  std::vector<std::string> names() const { return ListNames(m_sPath); }

  static std::vector<std::string> ListNames(const std::string& dir) {
    std::vector<std::string> out;
    if (DIR* d = opendir(dir.c_str())) {
      while (dirent* e = readdir(d)) {
        std::string n = e->d_name;
        if (n != "." && n != "..") out.push_back(n);
      }
      closedir(d);
    }
    std::sort(out.begin(), out.end());
    return out;
  }

  static void RemoveTree(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return;
    if (S_ISDIR(st.st_mode)) {
      for (const std::string& n : ListNames(path)) RemoveTree(path + "/" + n);
      rmdir(path.c_str());
    } else {
      unlink(path.c_str());
    }
  }

private:
  std::string m_sPath;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

inline void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

// Sets a file's modification time to `secondsAgo` before the real now.
inline void AgeFile(const std::string& path, long secondsAgo) {
  struct timespec times[2];
  clock_gettime(CLOCK_REALTIME, &times[0]);
  times[0].tv_sec -= secondsAgo;
  times[1] = times[0];
  utimensat(AT_FDCWD, path.c_str(), times, 0);
}

}  // namespace plinth_test
