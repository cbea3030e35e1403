#include "plinth/i18n/environment.h"

#include <atomic>
#include <cstring>

#include "plinth/i18n/unicode_configuration.h"
#include "plinth/i18n/unicode_converter.h"
#include "plinth/i18n/utf8_string.h"
#include "plinth/platform/environment.h"

std::list<std::string*>& WEnv::m_EnvVar = *new std::list<std::string*>();
std::list<std::wstring*>& WEnv::m_WEnvVar = *new std::list<std::wstring*>();

namespace {

using plinth::platform::env_get;

// Linux has one environment, of bytes. The wide view stands on it with its
// text in the current encoding, as file names are; the narrow texts that
// the wide puts hand to the environment live here, never freed.
std::list<std::string*>& wide_put_texts() {
  static auto* texts = new std::list<std::string*>();
  return *texts;
}

// The wide view comes into being with its first use, as on the system this
// interface was made for; until then the wide list has nothing to walk.
std::atomic<bool> wide_view_ready{false};

std::string wide_to_system(std::wstring const& wide) {
  return Osl_UTF8String(wide).ToCurrentSystemEncoding();
}

std::wstring system_to_wide(char const* text) {
  Osl_UnicodeConverter converter;
  converter.SetCurrentEncoding(Osl_UnicodeConfiguration::Instance()->GetCurrentEncoding());
  std::string utf8;
  converter.ConvertCurrentEncodingtoUTF8(std::string(text), utf8);
  std::wstring wide;
  converter.ConvertUTF8toUCS2(Osl_UTF8String(utf8), wide);
  return wide;
}

// _wgetenv: null when not set; else the value as a wide string.
char const* wide_get(std::string const& name, std::wstring& value) {
  wide_view_ready.store(true, std::memory_order_relaxed);
  std::string const system_name = wide_to_system(Osl_UTF8String(name).ToWString());
  char const* text = env_get(system_name.c_str());
  if (text != nullptr && *text != '\0') value = system_to_wide(text);
  return text;
}

// Splits at the first "="; a text without one is all name.
void append_split(std::string const& text, std::vector<std::pair<std::string, std::string>>& list) {
  std::size_t const equals = text.find('=');
  if (equals == std::string::npos) {
    list.emplace_back(text, std::string());
    return;
  }
  list.emplace_back(text.substr(0, equals), text.substr(equals + 1));
}

bool unicode_mode() { return Osl_UnicodeConfiguration::Instance()->IsUnicodeMode(); }

}  // namespace

EnvStatus WEnv::WGetEnvL(std::string const& name, std::string& value) {
  value.clear();
  char const* text = env_get(name.c_str());
  if (text == nullptr) return ENV_NOT_SET;
  if (*text == '\0') return ENV_NO_VALUE;
  value = text;
  return ENV_OK;
}

EnvStatus WEnv::WGetEnvU(std::string const& name, std::string& value) {
  value.clear();
  std::wstring wide;
  char const* text = wide_get(name, wide);
  if (text == nullptr) return ENV_NOT_SET;
  if (*text == '\0') return ENV_NO_VALUE;
  value = Osl_UTF8String(wide).GetString();
  return ENV_OK;
}

EnvStatus WEnv::WGetEnv(std::string const& name, std::string& value) {
  return unicode_mode() ? WGetEnvU(name, value) : WGetEnvL(name, value);
}

int WEnv::WPutEnvL(std::string const& name, std::string const& value) {
  auto* text = new std::string(name + "=" + value);
  int const result = plinth::platform::env_put(text->data());
  if (result != 0) {
    delete text;
    return result;
  }
  m_EnvVar.push_back(text);
  return result;
}

int WEnv::WPutEnvU(std::string const& name, std::string const& value) {
  std::wstring const converted = Osl_UTF8String(name + "=" + value).ToWString();
  // Up to the first zero, as a C runtime copy of the text would end there.
  auto* wide = new std::wstring(converted.c_str());
  wide_view_ready.store(true, std::memory_order_relaxed);
  std::string* text = nullptr;
  try {
    text = new std::string(wide_to_system(*wide));
  } catch (...) {
    delete wide;
    throw;
  }
  int const result = plinth::platform::env_put(text->data());
  if (result != 0) {
    delete text;
    delete wide;
    return result;
  }
  wide_put_texts().push_back(text);
  m_WEnvVar.push_back(wide);
  return result;
}

int WEnv::WPutEnv(std::string const& name, std::string const& value) {
  return unicode_mode() ? WPutEnvU(name, value) : WPutEnvL(name, value);
}

// An empty value sets the variable to the empty string here, so clearing
// removes it outright.
void WEnv::WClearEnvL(std::string const& name) { plinth::platform::env_remove(name.c_str()); }

void WEnv::WClearEnvU(std::string const& name) {
  wide_view_ready.store(true, std::memory_order_relaxed);
  std::string const system_name = wide_to_system(Osl_UTF8String(name).ToWString());
  plinth::platform::env_remove(system_name.c_str());
}

void WEnv::WClearEnv(std::string const& name) {
  if (unicode_mode()) {
    WClearEnvU(name);
    return;
  }
  WClearEnvL(name);
}

void WEnv::WGetEnvListL(std::vector<std::pair<std::string, std::string>>& list) {
  for (char** entry = plinth::platform::env_table(); entry != nullptr && *entry != nullptr; ++entry)
    append_split(*entry, list);
}

void WEnv::WGetEnvListU(std::vector<std::pair<std::string, std::string>>& list) {
  std::string ignored;
  WGetEnv("xxx", ignored);
  if (!wide_view_ready.load(std::memory_order_relaxed)) return;
  for (char** entry = plinth::platform::env_table(); entry != nullptr && *entry != nullptr; ++entry)
    append_split(Osl_UTF8String(system_to_wide(*entry)).GetString(), list);
}

void WEnv::WGetEnvList(std::vector<std::pair<std::string, std::string>>& list) {
  if (unicode_mode()) {
    WGetEnvListU(list);
    return;
  }
  WGetEnvListL(list);
}
