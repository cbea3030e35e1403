// The error that the network classes throw. code() says which step failed
// (one of the kinds below); code2() is the system's number for the cause:
// an errno value, or a negative getaddrinfo code for a failed resolution.
#pragma once

#include <string>

#include "plinth/platform/os/os_error.h"
#include "plinth/plinth_export.h"

class PLINTH_API os_network_toolkit_error : public os_toolkit_error {
public:
  enum kind : long {
    resolve_failed = 1,
    socket_failed = 2,
    bind_failed = 3,
    send_failed = 4,
    receive_failed = 5,
    wait_failed = 6,
    address_failed = 7,
  };

  // text is the whole story for what(): the step, the target and the
  // system's reason.
  os_network_toolkit_error(long code, long code2, const std::string& text)
      : os_toolkit_error(code, text), m_nCode2(code2) {}
  long code2() const noexcept { return m_nCode2; }
  // A fixed sentence for a kind; unknown kinds get a sentence of their own.
  static std::string description(long code);

private:
  long m_nCode2;
};
