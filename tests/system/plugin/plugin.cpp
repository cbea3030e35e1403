// A small library for the DynamicLibrary tests. PLUGIN_ORIGIN tells the
// copies of the same file name apart.
extern "C" {
__attribute__((visibility("default"))) int plugin_origin() { return PLUGIN_ORIGIN; }

// Counts calls since the library was mapped: starting again at 1 shows that
// it was unloaded in between.
__attribute__((visibility("default"))) int plugin_counter() {
  static int calls = 0;
  return ++calls;
}
}
