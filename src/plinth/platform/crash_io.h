// File calls for crash paths and signal handlers: plain descriptors, no
// allocation, no locks, no stdio. Any thread may call them at any moment,
// also in a signal handler. Failures are results (-1 or false), never
// exceptions.
#pragma once

#include <cstddef>

namespace plinth::platform {
// Opens for writing at the end, creating the file with the given permission
// bits. -1 on failure, errno set.
int raw_open_append(const char* path, int permissions) noexcept;
// Writes every byte, retrying after a signal; false when not all went out.
bool raw_write(int fd, const char* data, size_t size) noexcept;
bool raw_write(int fd, const char* text) noexcept;
// False when close reports an error (the data may not have reached the file).
bool raw_close(int fd) noexcept;
// The text, ": " and the description of errno, on standard error.
void raw_perror(const char* text) noexcept;
// The host name into the buffer, terminated; an empty text on failure.
void host_name_into(char* buffer, size_t size) noexcept;
// The calling thread's kernel id straight from the system: the cached id
// lives in thread-local storage, whose first use in a thread of a loaded
// library may allocate.
unsigned long raw_thread_id() noexcept;
}  // namespace plinth::platform
