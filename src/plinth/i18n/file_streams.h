// File streams whose names are program text: in Unicode mode a name is
// converted from UTF-8 to the current encoding before the system sees it;
// the data is never touched. A reader can skip a byte-order signature and
// learn which one it was. One stream belongs to one thread at a time. A file
// that can't be opened sets the fail bit; a failed conversion of the name
// throws what Osl_UnicodeConverter throws.
#pragma once

#include <fstream>
#include <istream>
#include <string>

#include "plinth/platform/os/os_path.h"
#include "plinth/plinth_export.h"

// Signatures that a writer may put at the start of a file. Nothing in the
// library writes them.
extern PLINTH_API const char UTF8_Header[3];        // EF BB BF
extern PLINTH_API const char UNICODE_Header[2];     // FF FE, UTF-16 little-endian
extern PLINTH_API const char UNICODE_BE_Header[2];  // FE FF, UTF-16 big-endian

// Skips a signature at the stream's position: 0 none (the stream stays where
// it was), 1 UTF-8, 2 UTF-16 little-endian, 3 UTF-16 big-endian (the stream
// stands behind it). A stream with fewer than 3 bytes left fails on the first
// read and stays failed; the result is then 0.
PLINTH_API int Osl_Ifstream_SkipSignature(std::istream& in);

// mode holds std::ios_base::openmode bits. The modes of the defaults are
// those of the standard streams.
class PLINTH_API Osl_Fstream : public std::fstream {
public:
  Osl_Fstream() = default;
  Osl_Fstream(std::string const& name, int mode = std::ios_base::in | std::ios_base::out);
  Osl_Fstream(char const* name, int mode = std::ios_base::in | std::ios_base::out);
  virtual ~Osl_Fstream();

  // On failure the fail bit is set; on success the state is cleared.
  void open(char const* name, int mode);
  void open(std::string const& name, int mode);
  void open(os_path const& path, int mode);

  int SkipSignature();
};

// Adds the output bit to every mode.
class PLINTH_API Osl_Ofstream : public std::ofstream {
public:
  Osl_Ofstream() = default;
  Osl_Ofstream(std::string const& name, int mode = std::ios_base::out);
  Osl_Ofstream(char const* name, int mode = std::ios_base::out);
  virtual ~Osl_Ofstream();

  void open(char const* name, int mode);
  void open(std::string const& name, int mode);
  void open(os_path const& path, int mode);
};

// Adds the input bit to every mode.
class PLINTH_API Osl_Ifstream : public std::ifstream {
public:
  Osl_Ifstream() = default;
  Osl_Ifstream(std::string const& name, int mode = std::ios_base::in);
  Osl_Ifstream(char const* name, int mode = std::ios_base::in);
  virtual ~Osl_Ifstream();

  void open(char const* name, int mode);
  void open(std::string const& name, int mode);
  void open(os_path const& path, int mode);

  int SkipSignature();
};
