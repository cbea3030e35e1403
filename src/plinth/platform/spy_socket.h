// The transport of the diagnostics' viewer: local datagram sockets in a
// directory that belongs to the user, one per viewer window title, and the
// control socket through which the viewer may steer a process. Sends never
// wait: a full or vanished viewer is a failed send. Any thread may call;
// failures are results (null, false, -1), never exceptions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace plinth::platform {

// "$XDG_RUNTIME_DIR/plinth-spy", or "/tmp/plinth-spy-<uid>" without it.
std::string spy_directory();
// A real directory (not a link) owned by the effective user or root and
// closed to group and others: the only kind the library sends into.
bool spy_directory_trusted(const std::string& dir);

// A viewer window: a datagram socket connected to <dir>/<title>.
struct spy_window;
// The window with that title, or null when no viewer listens there.
spy_window* spy_find_window(const char* title);
void spy_release(spy_window* window);

// One piece of a record, sent without being copied together first.
struct spy_piece {
  const void* data;
  size_t size;
};
// One datagram: the kind and the sender's pid (4 bytes each, little-endian)
// followed by the pieces. False when it did not go out at once.
bool spy_send(spy_window* window, uint32_t kind, uint32_t pid, const spy_piece* pieces, size_t count);

// The socket on which a process takes control messages, bound at a path
// in the viewer's directory. Messages carry their sender's credentials.
class spy_control_socket {
public:
  spy_control_socket() = default;
  ~spy_control_socket();
  spy_control_socket(const spy_control_socket&) = delete;
  spy_control_socket& operator=(const spy_control_socket&) = delete;

  // Binds at the path, replacing a stale socket file there. False on failure.
  bool open(const std::string& path);
  // Waits for one message. Returns its size (cut to the buffer), 0 when
  // wake was called, -1 on a failure. senderUid is the sender's user;
  // replyTo says whether the sender has an address to answer to.
  long receive(char* buffer, size_t size, uint32_t& senderUid, bool& canReply);
  // Answers the sender of the last message received; best effort.
  void reply(const char* text, size_t size);
  // Ends a receive that waits now or later, from any thread.
  void wake();
  // Closes the socket and removes its file.
  void close();
  bool is_open() const { return m_nFd >= 0; }
  const std::string& path() const { return m_sPath; }

private:
  int m_nFd = -1;
  std::string m_sPath;
  // The last sender's address (a sockaddr_un), kept for reply.
  unsigned char m_Sender[112] = {};
  unsigned m_nSenderLength = 0;
};

// Whether the sender of a control message may steer this process: the same
// user as the process, or root.
bool spy_sender_allowed(uint32_t uid);

}  // namespace plinth::platform
