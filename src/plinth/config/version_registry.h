// The version registry: each component of a process declares its version
// by a static OcVersionDefiner, and the diagnostics print the list. The
// register is a function-local static, so definers in any library's static
// initialisers may run in any order. Declarations run on the loader's
// thread; afterwards the list is only read. Nothing here reports failures.
#pragma once

#include <list>
#include <ostream>
#include <string>

#include "plinth/plinth_export.h"

// One declaration: a component's name and the rest of its version stamp.
class PLINTH_API OcVersionInfo {
public:
  OcVersionInfo(const std::string& name, const std::string& data) : m_sName(name), m_sData(data) {}
  OcVersionInfo(const OcVersionInfo&) = default;
  OcVersionInfo& operator=(const OcVersionInfo&) = default;
  ~OcVersionInfo() = default;

  const std::string& GetName() const { return m_sName; }
  const std::string& GetData() const { return m_sData; }

  std::string m_sName;
  std::string m_sData;
};

class PLINTH_API OcVersionRegister {
public:
  static OcVersionRegister& Instance();

  void Add(const OcVersionInfo& info) { m_lInfos.push_back(info); }
  std::list<OcVersionInfo> GetVersionInfos() const { return m_lInfos; }
  // One line per entry: the name left-aligned in 30 columns (longer names
  // stand whole), a tab, the data. Leaves the stream left-adjusted.
  void Print(std::ostream& out) const;

  OcVersionRegister(const OcVersionRegister&) = default;
  OcVersionRegister& operator=(const OcVersionRegister&) = default;
  ~OcVersionRegister() = default;

  std::list<OcVersionInfo> m_lInfos;  // in order of declaration

private:
  OcVersionRegister() = default;
};

// Registers a component under the given name with what its stamp holds
// behind the head and the name= field.
class PLINTH_API OcVersionDefiner {
public:
  OcVersionDefiner(const std::string& name, const std::string& stamp);
  OcVersionDefiner& operator=(const OcVersionDefiner&) { return *this; }
};

// The library's own search marker: version, build number and build date.
// No code reads it; file-search tools do.
extern PLINTH_API const char PlinthVersionStamp[];
