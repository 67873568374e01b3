#pragma once

#include <mutex>

// The process environment (`environ`) is one array for every thread. A thread
// that changes it while another walks it or hands it to posix_spawn may leave
// the other reading an array that setenv has just freed, so both hold this
// lock. Recursive: a window opened while it is held may start a child.
namespace ProcessEnvironment {

std::recursive_mutex &lock();

} // namespace ProcessEnvironment
