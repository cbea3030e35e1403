// The process-wide text mode: legacy (single-byte text in the current
// encoding) or Unicode (UTF-8 inside the program), the current encoding, the
// locale directory and the tables of encodings, languages and Windows
// encodings. Instance() is safe from any thread; the setters take no lock,
// so a host calls them before other threads read the mode. Failures throw
// QLNError with severity 12.
#pragma once

#include <list>
#include <string>

#include "plinth/plinth_export.h"
#include "plinth/platform/os/os_mutex.h"

// A handle of the locale library (src/plinth/platform/gc), opaque here.
struct GCLocale;

class PLINTH_API Osl_UnicodeConfiguration {
public:
  // One encoding of the locale library.
  struct Encoding {
    std::string name;
    std::string description;
    bool legacy = false;
    bool unicode = false;
    bool ibm = false;
    bool dbcs = false;
    std::string win_encoding_name;
  };

  // One language of the locale library.
  struct Language {
    std::string name;
    bool legacy = false;
    bool unicode = false;
    std::string win_encoding_name;
  };

  // One Windows encoding with its fonts.
  struct WinEncoding {
    std::string name;
    std::list<std::string> fix_fonts;
    std::list<std::string> var_fonts;
    std::list<std::string> fix_files;
    std::list<std::string> var_files;
  };

  // Never null; creates the singleton on first use.
  static Osl_UnicodeConfiguration* Instance();
  // Deletes the singleton, whichever object it is called on; a later
  // Instance() makes a fresh one. The converter's cached locales stay.
  void Destroy();

  Osl_UnicodeConfiguration(const Osl_UnicodeConfiguration&) = default;
  Osl_UnicodeConfiguration& operator=(const Osl_UnicodeConfiguration&) = default;
  ~Osl_UnicodeConfiguration();

  // Both names read and write the one flag.
  void SetCJKMode(bool on);
  void SetUnicodeMode(bool on);
  bool IsCJKMode() const;
  bool IsUnicodeMode() const;
  // Kept for callers; nothing in the library tests it.
  void Set32BitEncapsolatedMode(bool on);
  bool is32BitEncapsolatedMode() const;

  std::string GetLocaleDir();
  int GetTraceLevel() const;
  std::string GetCurrentEncoding();
  // An empty name selects "MS" + the system's code page number.
  void SetCurrentEncoding(std::string const& encoding);

  bool m_b32BitEncapsolatedMode;
  bool m_bUnicodeMode;
  std::string m_LocaleDir;
  std::string m_DefaultEncoding;
  // Above 0 the trace lines go to standard output.
  int m_TraceLevel;
  std::list<Encoding> m_Encodings;
  std::list<Language> m_Languages;
  std::list<WinEncoding> m_WinEncodings;
  bool m_bInitialized;

  static Osl_UnicodeConfiguration* m_pInstance;
  static os_mutex m_SingletonLock;

protected:
  Osl_UnicodeConfiguration();

  // "[i18n] " + text on standard output when the trace is on.
  void Trace(std::string const& text) const;

private:
  friend class Osl_UnicodeConverter;
  friend class Osl_RegularExpression;

  // The locale of an encoding ("." is put in front of a name without a
  // dot); the caller releases it with GCReleaseLocale. Throws QLNError:
  // code 98 for a name the tables don't hold, else the locale library's
  // error.
  GCLocale* GetLocale(std::string const& encoding) const;
};
