#include "plinth/i18n/text_classes.h"

#include <memory>

#include "plinth/platform/sys_string.h"

namespace i18n_aux {

embedded_plus_operator& embedded_plus_operator::operator+(char const* text) {
  m_sText.assign(1, '@');
  if (text) m_sText.append(text);
  return *this;
}

_bstr_helper::_bstr_helper(const _bstr_helper& other) : m_pRecord(other.m_pRecord) {
  if (m_pRecord) m_pRecord->m_nRefCount.fetch_add(1, std::memory_order_relaxed);
}

_bstr_helper::~_bstr_helper() { release(); }

_bstr_helper& _bstr_helper::operator=(const _bstr_helper& other) {
  if (this == std::addressof(other)) return *this;
  release();
  m_pRecord = other.m_pRecord;
  if (m_pRecord) m_pRecord->m_nRefCount.fetch_add(1, std::memory_order_relaxed);
  return *this;
}

_bstr_helper::operator wchar_t*() { return record()->m_pWide; }

wchar_t** _bstr_helper::operator&() { return &record()->m_pWide; }

_bstr_helper::Record* _bstr_helper::record() {
  if (!m_pRecord) m_pRecord = new Record;
  return m_pRecord;
}

// The last owner frees the strings; acquire-release so that it sees every
// other owner's writes to them.
void _bstr_helper::release() {
  if (!m_pRecord) return;
  if (m_pRecord->m_nRefCount.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    plinth::platform::SysFreeString(m_pRecord->m_pWide);
    delete[] m_pRecord->m_pNarrow;
    delete m_pRecord;
  }
  m_pRecord = nullptr;
}

}  // namespace i18n_aux
