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

  // What Init is given; not kept.
  struct InitParameters {
    std::string locale_dir;
    // "cjk" asks for Unicode mode; anything else leaves legacy mode.
    std::string mode;
    // The wanted current encoding; may be empty.
    std::string default_encoding;
  };

  // The name of the file in the locale directory and the pieces of its
  // format.
  static const char LocaleIni[];
  static const char EncodingPrefix[];
  static const char LanguagePrefix[];
  static const char WinEncodingPrefix[];
  static const char FixFontPrefix[];
  static const char VarFontPrefix[];
  static const char FixFontFilePrefix[];
  static const char VarFontFilePrefix[];
  static const char EncLangName[];
  static const char EncDescription[];
  static const char EncLangLegacySupported[];
  static const char EncLangUnicodeSupported[];
  static const char EncIBMSupported[];
  static const char EncDBCSSupported[];
  static const char WinEncodingName[];

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

  // Enters Unicode mode for the mode "cjk" and fills the tables; any other
  // mode only stores the locale directory. Runs once to its end; a failed
  // run may be repeated. Takes no lock: call it before other threads read
  // the mode.
  void Init(InitParameters const& params);

  // Look-ups of the tables. Names compare ignoring case; an unknown name
  // throws QLNError 99. Lists are appended to, never cleared. The encoding
  // and language lists are asked anew from the locale library.
  void GetEncodings(std::list<std::string>& names) const;
  void GetLanguages(std::list<std::string>& names) const;
  void GetWinEncodings(std::list<std::string>& names) const;
  std::string GetEncodingDescription(std::string const& encoding);
  bool IsLegacySupportedEncoding(std::string const& encoding) const;
  bool IsUNICODESupportedEncoding(std::string const& encoding) const;
  bool IsIBMEncoding(std::string const& encoding) const;
  bool IsDBCSEncoding(std::string const& encoding) const;
  std::string Encoding2WindowsEncoding(std::string const& encoding);
  bool IsLegacySupportedLanguage(std::string const& language) const;
  bool IsUNICODESupportedLanguage(std::string const& language) const;
  std::string Language2WindowsEncoding(std::string const& language);
  // Entries whose win_encoding_name equals win byte for byte; win must name
  // a Windows encoding of the table.
  void WindowsEncoding2Encoding(std::string const& win, std::list<std::string>& names) const;
  void WindowsEncoding2Language(std::string const& win, std::list<std::string>& names) const;
  void WindowsEncoding2FixedFonts(std::string const& win, std::list<std::string>& fonts) const;
  void WindowsEncoding2VariableFonts(std::string const& win, std::list<std::string>& fonts) const;
  void WindowsEncoding2FixedFontFileNames(std::string const& win, std::list<std::string>& files) const;
  void WindowsEncoding2VariableFontFileNames(std::string const& win, std::list<std::string>& files) const;
  // The locale library's short name of a language; QLNError with the
  // library's code when it has none.
  std::string GetLanguageAbbreviatedName(std::string const& language);

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

  // Fills the entries that the locale library reported from locale.ini; a
  // file that can't be read changes nothing and is no failure.
  void ReadLocaleIni();
  // Plain byte order of the names, the shorter first on a common prefix.
  static bool CompareEncodings(Encoding const& first, Encoding const& second);

private:
  friend class Osl_UnicodeConverter;
  friend class Osl_RegularExpression;

  // The locale of an encoding ("." is put in front of a name without a
  // dot); the caller releases it with GCReleaseLocale. Throws QLNError:
  // code 98 for a name the tables don't hold, else the locale library's
  // error.
  GCLocale* GetLocale(std::string const& encoding) const;

  // Copies of the first entry of that name; QLNError 99 when none.
  Encoding FindEncoding(std::string const& name) const;
  WinEncoding FindWinEncoding(std::string const& name) const;
  Language FindLanguage(std::string const& name) const;
  // context: a pair of the wanted kind and the list the names go to.
  static int EnumLocalesProc(void* context, int kind, char const* name);
};
