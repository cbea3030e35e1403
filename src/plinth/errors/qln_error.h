// The library's exception types. Configuration and text classes throw
// QLNError; callers catch it by QLNError or by std::exception. An error is
// immutable after construction, so any thread may read a shared one, and
// what() never allocates: the sentence is composed once when it is built.
#pragma once

#include "plinth/plinth_export.h"

#include <exception>
#include <iosfwd>
#include <string>

class PLINTH_API QLNError : public std::exception {
public:
  // An empty message with code and severity 0 reads "No error"; an empty
  // where reads "unknown" and drops the line.
  QLNError(const std::string& message = "", long code = 0, long severity = 0,
           const std::string& where = "", long line = 0);
  QLNError(const QLNError&) = default;
  QLNError& operator=(const QLNError&) = default;
  ~QLNError() override;

  // The bare message.
  const std::string& What() const { return m_sMessage; }
  // "<message>, code <n>, severity <n>, programm <where>", valid while the
  // error lives.
  const char* what() const noexcept override { return m_sText.c_str(); }

  long Code() const { return m_nCode; }
  long code() const { return m_nCode; }
  long Severity() const { return m_nSeverity; }
  const std::string& Where() const { return m_sWhere; }
  const std::string& where() const { return m_sWhere; }

  // Severities up to 4 are informational, except severity 0 with a code
  // above 4, which is how callers raise a plain coded failure.
  bool isInfoOnly() const;

  // Message, code and severity decide; the place does not.
  bool operator==(const QLNError& other) const;

protected:
  std::string m_sMessage;
  long m_nCode;
  long m_nSeverity;
  std::string m_sWhere;
  std::string m_sText;
};

// Writes what() without a line end.
std::ostream& operator<<(std::ostream& out, const QLNError& error);

// A broken internal assumption: code 1, severity 12, message prefixed by
// "Logical Error: ".
class PLINTH_API QLNLogicalError : public QLNError {
public:
  QLNLogicalError(const std::string& message, const std::string& where, long line);
  QLNLogicalError(const QLNLogicalError&) = default;
  QLNLogicalError& operator=(const QLNLogicalError&) = default;
  ~QLNLogicalError() override;
};
