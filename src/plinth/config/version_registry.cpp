#include "plinth/config/version_registry.h"

#include <iomanip>

OcVersionRegister& OcVersionRegister::Instance() {
  static OcVersionRegister theRegister;
  return theRegister;
}

void OcVersionRegister::Print(std::ostream& out) const {
  for (const OcVersionInfo& info : m_lInfos) {
    out << std::left << std::setw(30) << info.GetName();
    out << '\t' << info.GetData() << '\n';
  }
}

OcVersionDefiner::OcVersionDefiner(const std::string& name, const std::string& stamp) {
  std::string rest = stamp;
  // The head and the name= field go; what is left starts at version=.
  for (int i = 0; i < 2; ++i) {
    const size_t semicolon = rest.find(';');
    if (semicolon != std::string::npos) rest.erase(0, semicolon + 1);
  }
  OcVersionRegister::Instance().Add(OcVersionInfo(name, rest));
}
