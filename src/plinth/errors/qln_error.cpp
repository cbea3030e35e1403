#include "plinth/errors/qln_error.h"

#include <ostream>

namespace {
std::string compose_where(const std::string& where, long line) {
  if (where.empty()) return "unknown";
  if (line == 0) return where;
  std::string place(where);
  place.append(" ").append(std::to_string(line));
  return place;
}
}  // namespace

QLNError::QLNError(const std::string& message, long code, long severity, const std::string& where,
                   long line)
    : m_sMessage(message.empty() && code == 0 && severity == 0 ? "No error" : message),
      m_nCode(code),
      m_nSeverity(severity),
      m_sWhere(compose_where(where, line)) {
  m_sText.append(m_sMessage)
      .append(", code ")
      .append(std::to_string(m_nCode))
      .append(", severity ")
      .append(std::to_string(m_nSeverity))
      .append(", programm ")
      .append(m_sWhere);
}

QLNError::~QLNError() = default;

bool QLNError::isInfoOnly() const {
  if (m_nSeverity == 0 && m_nCode > 4) return false;
  return m_nSeverity <= 4;
}

bool QLNError::operator==(const QLNError& other) const {
  return m_sMessage == other.m_sMessage && m_nCode == other.m_nCode &&
         m_nSeverity == other.m_nSeverity;
}

std::ostream& operator<<(std::ostream& out, const QLNError& error) { return out << error.what(); }

QLNLogicalError::QLNLogicalError(const std::string& message, const std::string& where, long line)
    : QLNError(std::string("Logical Error: ").append(message), 1, 12, where, line) {}

QLNLogicalError::~QLNLogicalError() = default;
