// Named parameters for the logging framework: four maps keyed by parameter
// name, one for each value type. Plain data; a holder is not shared between
// threads while it is being filled or read.
#pragma once

#include "plinth/plinth_export.h"

#include <cstdint>
#include <map>
#include <string>

namespace dst_aux {

template <class S, class I, class K, class P>
struct ParamsHolder {
  using StringMap = std::map<std::string, S>;
  using IntMap = std::map<std::string, I>;
  using FlagMap = std::map<std::string, K>;
  using PointerMap = std::map<std::string, P>;

  StringMap m_mStrings;
  IntMap m_mInts;
  FlagMap m_mFlags;
  PointerMap m_mPointers;
  // Result of the last look-up in each map (end() when it failed).
  mutable typename StringMap::const_iterator m_itString = m_mStrings.cend();
  mutable typename IntMap::const_iterator m_itInt = m_mInts.cend();
  mutable typename FlagMap::const_iterator m_itFlag = m_mFlags.cend();
  mutable typename PointerMap::const_iterator m_itPointer = m_mPointers.cend();

  ParamsHolder() = default;
  // Positions point into the source's maps, so a copy starts without any.
  ParamsHolder(const ParamsHolder& other)
      : m_mStrings(other.m_mStrings), m_mInts(other.m_mInts), m_mFlags(other.m_mFlags),
        m_mPointers(other.m_mPointers) {}
  ParamsHolder& operator=(const ParamsHolder& other) {
    if (this == &other) return *this;
    m_mStrings = other.m_mStrings;
    m_mInts = other.m_mInts;
    m_mFlags = other.m_mFlags;
    m_mPointers = other.m_mPointers;
    ResetPositions();
    return *this;
  }

  // Unique insertion: a value already stored under the name stays. The
  // result says whether the new value went in.
  bool InsertString(const std::string& name, const S& value) { return m_mStrings.emplace(name, value).second; }
  bool InsertInt(const std::string& name, const I& value) { return m_mInts.emplace(name, value).second; }
  bool InsertFlag(const std::string& name, const K& value) { return m_mFlags.emplace(name, value).second; }
  bool InsertPointer(const std::string& name, const P& value) { return m_mPointers.emplace(name, value).second; }

  // Look-up into an out parameter: the value, or an empty / zero value when
  // the name is absent. The result says whether it was found.
  bool GetString(const std::string& name, S& out) const { return Get(m_mStrings, m_itString, name, out); }
  bool GetInt(const std::string& name, I& out) const { return Get(m_mInts, m_itInt, name, out); }
  bool GetFlag(const std::string& name, K& out) const { return Get(m_mFlags, m_itFlag, name, out); }
  bool GetPointer(const std::string& name, P& out) const { return Get(m_mPointers, m_itPointer, name, out); }

private:
  void ResetPositions() {
    m_itString = m_mStrings.cend();
    m_itInt = m_mInts.cend();
    m_itFlag = m_mFlags.cend();
    m_itPointer = m_mPointers.cend();
  }

  template <class Map, class T>
  static bool Get(const Map& map, typename Map::const_iterator& pos, const std::string& name, T& out) {
    pos = map.find(name);
    if (pos == map.end()) {
      out = T{};
      return false;
    }
    out = pos->second;
    return true;
  }
};

// A named 32-bit property; the database destination gives it a meaning.
struct PLINTH_API ElementProperties {
  std::string m_sName;
  uint32_t m_nValue = 0;
};

// Only the database destination library defines these; the framework passes
// them through untouched.
struct QueryElement;
struct DataContext;

// The parameter names, built once for each user of them.
struct PLINTH_API ParamNames {
  const std::string name{"name"};
  const std::string logical_name{"logical_name"};
  const std::string type{"type"};
  const std::string file_num{"file_num"};
  const std::string file_size{"file_size"};
  const std::string path{"path"};
  const std::string message_num{"message_num"};
  const std::string mode{"mode"};
  const std::string db_ptr{"db_ptr"};
  const std::string driver{"driver"};
  const std::string db_name{"db_name"};
  const std::string user_name{"user_name"};
  const std::string password{"password"};
  const std::string server_name{"server_name"};
  const std::string db_connection_ptr{"db_connection_ptr"};
  const std::string db_rwdatabase_ptr{"db_rwdatabase_ptr"};
  const std::string err_stream{"err_stream"};
  const std::string obj_ptr{"obj_ptr"};
  const std::string vec_ptr{"vec_ptr"};
  const std::string app_info_cb{"app_info_cb"};
  const std::string app_info_userdata{"app_info_userdata"};
};

// The second name table of the Logger.
struct PLINTH_API StampNames {
  const std::string path{"path"};
  const std::string stamp_pid{"stamp_pid"};
  const std::string stamp_date{"stamp_date"};
  const std::string stamp_host{"stamp_host"};
};

}  // namespace dst_aux

// What every destination is created from.
using LoggerParams = dst_aux::ParamsHolder<std::string, int, char, void*>;
