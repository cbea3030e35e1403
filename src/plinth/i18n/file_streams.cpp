#include "plinth/i18n/file_streams.h"

#include <cstring>

#include "plinth/i18n/utf8_string.h"
#include "plinth/platform/stream_file.h"

const char UTF8_Header[3] = {'\xEF', '\xBB', '\xBF'};
const char UNICODE_Header[2] = {'\xFF', '\xFE'};
const char UNICODE_BE_Header[2] = {'\xFE', '\xFF'};

namespace {

// The name as the system wants it: from UTF-8 to the current encoding in
// Unicode mode, unchanged in legacy mode.
std::string system_name(char const* name) {
  return Osl_UTF8String(std::string(name != nullptr ? name : "")).ToCurrentSystemEncoding();
}

// Linux has no sharing modes: every open file may be read and written by
// others, which is what the streams ask for.
template <class Stream>
void open_stream(Stream& stream, char const* name, std::ios_base::openmode mode) {
  std::string const converted = system_name(name);
  if (plinth::platform::open_close_on_exec(*stream.rdbuf(), converted.c_str(), mode) == nullptr) {
    stream.setstate(std::ios_base::failbit);
    return;
  }
  stream.clear();
}

std::ios_base::openmode as_mode(int mode) { return static_cast<std::ios_base::openmode>(mode); }

}  // namespace

int Osl_Ifstream_SkipSignature(std::istream& in) {
  std::istream::pos_type const start = in.tellg();
  char three[3] = {0, 0, 0};
  in.read(three, 3);
  if (std::memcmp(three, UTF8_Header, 3) == 0) return 1;
  // After a short first read the stream stays failed: this seekg and read do
  // nothing (seekg clears only the end-of-file bit), and the result is 0.
  in.seekg(start);
  char two[2] = {0, 0};
  in.read(two, 2);
  if (std::memcmp(two, UNICODE_Header, 2) == 0) return 2;
  if (std::memcmp(two, UNICODE_BE_Header, 2) == 0) return 3;
  in.seekg(start);
  return 0;
}

Osl_Fstream::Osl_Fstream(std::string const& name, int mode) { open(name.c_str(), mode); }
Osl_Fstream::Osl_Fstream(char const* name, int mode) { open(name, mode); }
Osl_Fstream::~Osl_Fstream() = default;
void Osl_Fstream::open(char const* name, int mode) { open_stream(*this, name, as_mode(mode)); }
void Osl_Fstream::open(std::string const& name, int mode) { open(name.c_str(), mode); }
void Osl_Fstream::open(os_path const& path, int mode) { open(static_cast<char const*>(path), mode); }
int Osl_Fstream::SkipSignature() { return Osl_Ifstream_SkipSignature(*this); }

Osl_Ofstream::Osl_Ofstream(std::string const& name, int mode) { open(name.c_str(), mode); }
Osl_Ofstream::Osl_Ofstream(char const* name, int mode) { open(name, mode); }
Osl_Ofstream::~Osl_Ofstream() = default;
void Osl_Ofstream::open(char const* name, int mode) {
  open_stream(*this, name, as_mode(mode) | std::ios_base::out);
}
void Osl_Ofstream::open(std::string const& name, int mode) { open(name.c_str(), mode); }
void Osl_Ofstream::open(os_path const& path, int mode) { open(static_cast<char const*>(path), mode); }

Osl_Ifstream::Osl_Ifstream(std::string const& name, int mode) { open(name.c_str(), mode); }
Osl_Ifstream::Osl_Ifstream(char const* name, int mode) { open(name, mode); }
Osl_Ifstream::~Osl_Ifstream() = default;
void Osl_Ifstream::open(char const* name, int mode) {
  open_stream(*this, name, as_mode(mode) | std::ios_base::in);
}
void Osl_Ifstream::open(std::string const& name, int mode) { open(name.c_str(), mode); }
void Osl_Ifstream::open(os_path const& path, int mode) { open(static_cast<char const*>(path), mode); }
int Osl_Ifstream::SkipSignature() { return Osl_Ifstream_SkipSignature(*this); }
