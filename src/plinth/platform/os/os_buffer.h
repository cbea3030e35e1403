// A growing byte buffer that records are composed in. One owner at a time;
// running out of memory throws std::bad_alloc like any standard container.
#pragma once

#include <cstddef>
#include <string>

class os_buffer {
public:
  // Appends the bytes; a negative or zero count appends nothing.
  void write(const void* data, int count) {
    if (count > 0) m_Bytes.append(static_cast<const char*>(data), static_cast<size_t>(count));
  }
  const char* data() const { return m_Bytes.data(); }
  size_t size() const { return m_Bytes.size(); }
  // Empties the buffer but keeps its storage.
  void clear() { m_Bytes.clear(); }

private:
  std::string m_Bytes;
};
