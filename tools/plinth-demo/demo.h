// The demo host's sections: each area of the library registers one from a
// demo_<area>.cpp of its own, and main runs them in order.
#pragma once

#include <functional>
#include <string>

struct DemoContext {
  std::string logDir;  // exists when sections run
  int lines = 300;     // a size hint for sections that write lines
};

struct DemoSection {
  int order;
  const char* title;
  std::function<int(const DemoContext&)> run;  // 0 on success
};

// Registers a section at static initialisation; returns a dummy for the registrar.
bool RegisterDemoSection(int order, const char* title, std::function<int(const DemoContext&)> run);

#define PLINTH_DEMO_SECTION(order, title, fn) \
  static const bool plinth_demo_registered_##fn = RegisterDemoSection((order), (title), (fn))
