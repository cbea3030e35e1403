// Value types that clients of the logging framework exchange with it.
// Plain data; no locking.
#pragma once

#include "plinth/plinth_export.h"

#include <string>

enum eDestType { eSequentialFile = 0, eCyclicFile = 1, eDatabase = 2 };

// A destination described in fixed-size fields, as the message logger keeps them.
struct PLINTH_API DestinationData {
  int m_nType = 0;
  char m_sName[1024] = {};
  char m_sLogicalName[1024] = {};
  int m_nNumOfFiles = 0;
  int m_nMsgsPerFile = 0;

  DestinationData() = default;
  DestinationData(const DestinationData& other) = default;
  // Copies every byte, the unused tails of the names included.
  DestinationData& operator=(const DestinationData& other) = default;
};

class PLINTH_API LoggerDestinationData {
public:
  LoggerDestinationData(eDestType type, const std::string& name, const std::string& logicalName)
      : m_eType(type), m_sName(name), m_sLogicalName(logicalName) {}
  virtual ~LoggerDestinationData() = default;
  LoggerDestinationData(const LoggerDestinationData&) = default;
  LoggerDestinationData& operator=(const LoggerDestinationData&) = default;

  eDestType GetType() const { return m_eType; }
  const std::string& GetName() const { return m_sName; }
  const std::string& GetLogicalName() const { return m_sLogicalName; }

  eDestType m_eType;
  std::string m_sName;
  std::string m_sLogicalName;
};

// A source of named values for formatting.
class PLINTH_API LoggerNameValue {
public:
  virtual ~LoggerNameValue() = default;
  // The value stored under name; empty when absent.
  virtual std::string Get(const std::string& name) = 0;
};
