// Three small text classes: embedded_plus_operator (an "@"-prefixed text),
// _bstr_helper (a shared, reference-counted holder of a wide string that a
// platform call fills in) and OSLNoCaseString (a string ordered ignoring
// case, as cmp_nocase orders). Copies of one _bstr_helper may live on
// several threads; the strings it holds are not guarded. Allocation
// failure throws std::bad_alloc; nothing else fails.
#pragma once

#include <atomic>
#include <compare>
#include <string>

#include "plinth/plinth_export.h"
#include "plinth/i18n/i18n_aux.h"

namespace i18n_aux {

class PLINTH_API embedded_plus_operator {
public:
  operator char const*() const { return m_sText.c_str(); }
  // Replaces the text by "@" + text: the former text is dropped.
  embedded_plus_operator& operator+(char const* text);

  std::string m_sText;
};

class PLINTH_API _bstr_helper {
public:
  _bstr_helper() = default;
  // Shares the other's record.
  _bstr_helper(const _bstr_helper& other);
  ~_bstr_helper();
  _bstr_helper& operator=(const _bstr_helper& other);

  // Both create the record on first use. The wide string is one of
  // plinth::platform::SysAllocString's and is freed with SysFreeString.
  operator wchar_t*();
  wchar_t** operator&();

  struct Record {
    wchar_t* m_pWide = nullptr;
    char* m_pNarrow = nullptr;  // owned, array delete
    std::atomic<long> m_nRefCount{1};
  };

private:
  Record* record();
  void release();

  Record* m_pRecord = nullptr;
};

}  // namespace i18n_aux

// A string ordered and compared as i18n_aux::cmp_nocase says; the keys of
// case-blind maps.
class PLINTH_API OSLNoCaseString : public std::string {
public:
  using std::string::string;
  OSLNoCaseString() = default;
  OSLNoCaseString(const std::string& text) : std::string(text) {}
  OSLNoCaseString(std::string&& text) : std::string(std::move(text)) {}

  friend bool operator==(const OSLNoCaseString& a, const OSLNoCaseString& b) {
    return i18n_aux::StrCmpI(a, b);
  }
  friend std::weak_ordering operator<=>(const OSLNoCaseString& a, const OSLNoCaseString& b) {
    return i18n_aux::cmp_nocase(a, b) <=> 0;
  }
};
