#include "plinth/i18n/unicode_configuration.h"

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <mutex>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n/i18n_aux.h"
#include "plinth/platform/gc/gc.h"

namespace {
const char SourceName[] = "unicode_configuration";
}

Osl_UnicodeConfiguration* Osl_UnicodeConfiguration::m_pInstance = nullptr;
os_mutex Osl_UnicodeConfiguration::m_SingletonLock;

Osl_UnicodeConfiguration::Osl_UnicodeConfiguration()
    : m_b32BitEncapsolatedMode(false),
      m_bUnicodeMode(false),
      m_TraceLevel(std::getenv("ORB_PLINTH_TRACE") ? 1 : 0),
      m_bInitialized(false) {}

Osl_UnicodeConfiguration::~Osl_UnicodeConfiguration() = default;

namespace {
// The pointer is written once per life of the singleton and read without
// the lock by every text operation: an atomic access on a plain field.
std::atomic_ref<Osl_UnicodeConfiguration*> Published(Osl_UnicodeConfiguration*& pointer) {
  return std::atomic_ref<Osl_UnicodeConfiguration*>(pointer);
}
}  // namespace

Osl_UnicodeConfiguration* Osl_UnicodeConfiguration::Instance() {
  if (Osl_UnicodeConfiguration* instance = Published(m_pInstance).load(std::memory_order_acquire)) return instance;
  std::lock_guard<os_mutex> held(m_SingletonLock);
  if (!m_pInstance) Published(m_pInstance).store(new Osl_UnicodeConfiguration, std::memory_order_release);
  return m_pInstance;
}

void Osl_UnicodeConfiguration::Destroy() {
  Osl_UnicodeConfiguration* instance = Published(m_pInstance).exchange(nullptr, std::memory_order_acq_rel);
  delete instance;
}

void Osl_UnicodeConfiguration::SetCJKMode(bool on) { m_bUnicodeMode = on; }
void Osl_UnicodeConfiguration::SetUnicodeMode(bool on) { m_bUnicodeMode = on; }
bool Osl_UnicodeConfiguration::IsCJKMode() const { return m_bUnicodeMode; }
bool Osl_UnicodeConfiguration::IsUnicodeMode() const { return m_bUnicodeMode; }
void Osl_UnicodeConfiguration::Set32BitEncapsolatedMode(bool on) { m_b32BitEncapsolatedMode = on; }
bool Osl_UnicodeConfiguration::is32BitEncapsolatedMode() const { return m_b32BitEncapsolatedMode; }
std::string Osl_UnicodeConfiguration::GetLocaleDir() { return m_LocaleDir; }
int Osl_UnicodeConfiguration::GetTraceLevel() const { return m_TraceLevel; }
std::string Osl_UnicodeConfiguration::GetCurrentEncoding() { return m_DefaultEncoding; }

void Osl_UnicodeConfiguration::SetCurrentEncoding(std::string const& encoding) {
  m_DefaultEncoding = encoding;
  if (m_DefaultEncoding.empty()) m_DefaultEncoding = "MS" + std::to_string(plinth::platform::GetACP());
  Trace("Default Encoding was set as " + m_DefaultEncoding);
}

void Osl_UnicodeConfiguration::Trace(std::string const& text) const {
  if (m_TraceLevel > 0) std::cout << "[i18n] " << text << std::endl;
}

GCLocale* Osl_UnicodeConfiguration::GetLocale(std::string const& encoding) const {
  std::string name = encoding;
  if (name.find('.') == std::string::npos) name.insert(0, 1, '.');
  int error = 0;
  if (GCLocale* locale = GCGetLocale(name.c_str(), 0, &error)) return locale;
  for (const Encoding& known : m_Encodings)
    if (i18n_aux::StrCmpI(known.name, encoding))
      throw QLNError("Failure to create a locale for encoding: " + name, error, 12, SourceName, __LINE__);
  throw QLNError("Character set \"" + encoding + "\" is not valid", 98, 12, SourceName, __LINE__);
}
