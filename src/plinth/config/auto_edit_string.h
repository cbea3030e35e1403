// QLNAutoEditString: expands a pattern with %%NAME variables from a table
// the caller fills, where adjacent variables name another variable from
// right to left and a full stop before a variable is eaten. One object
// belongs to one thread at a time; the pattern constants are read-only after
// the library has loaded. Nothing is reported: an unknown variable stays in
// the text with its heading.
#pragma once

#include <iosfwd>
#include <map>
#include <string>

#include "plinth/i18n/text_classes.h"
#include "plinth/plinth_export.h"

class PLINTH_API QLNAutoEditString {
public:
  // "%%\$?": two percent signs and an optional dollar sign.
  static const std::string VariableHeadingPattern;
  // "[A-Za-z0-9_#@]": one character of a name.
  static const std::string VariableNamePattern;
  // Heading, then at least one name character.
  static const std::string VariablePattern;
  // Two or more variables with nothing between them.
  static const std::string RecursiveVariablePattern;

  explicit QLNAutoEditString(const std::string& pattern);
  virtual ~QLNAutoEditString();

  // Sets the value under name (no heading); any earlier spelling of the
  // name keeps its place and takes the new value.
  void AddVariable(const std::string& name, const std::string& value);
  bool HasUserDefinedVariable(const std::string& name) const;
  // The pattern with every variable it can resolve replaced by its value.
  // Starts from the pattern at each call.
  std::string Resolve();
  operator std::string() { return Resolve(); }
  const std::string& GetPattern() const { return m_sPattern; }

  friend PLINTH_API std::ostream& operator<<(std::ostream& out, const QLNAutoEditString& text);

protected:
  // First pass: every sequence becomes one longer variable.
  void ResolveSequencedVariables();
  // Second pass: every variable becomes its value.
  void ResolveFlatVariables();
  // The leftmost variable unchanged, followed by the resolved rest.
  std::string FlattenSequencedVariable(const std::string& sequence);
  // Resolves a sequence from its right end: each variable's value is
  // appended to the name of the variable on its left.
  std::string RecursiveResolve(const std::string& text);
  // The value of one token (headings removed from the name), or the token
  // itself when nothing resolves it.
  std::string ResolveVariable(const std::string& token);
  bool IsBuildInVariable(const OSLNoCaseString& name);
  std::string ResolveBuildInVariable(const OSLNoCaseString& name);
  std::string ResolveUserDefinedVariable(const OSLNoCaseString& name);
  void EliminateConcatinationString();
  bool PatternHasVariable(const std::string& name);

  std::string m_sPattern;
  std::string m_sResolved;
  std::string m_sDateFormat;
  std::map<OSLNoCaseString, std::string> m_Variables;
};

PLINTH_API std::ostream& operator<<(std::ostream& out, const QLNAutoEditString& text);
