// What the kernel says about a process, its threads and its children. A process that ends meanwhile
// reads as one that does not exist.
#pragma once

#include <sys/types.h>
#include <vector>

namespace zrp::harness {

// As in /proc/PID/stat: 'R' running or ready, 'S' sleeping, 'T' stopped, 'Z' ended but not
// collected; 0 for a process that does not exist.
char process_state(pid_t process);

// Whether the process has ended, collected by its parent or not.
bool has_ended(pid_t process);

std::vector<pid_t> threads_of(pid_t process);
std::vector<pid_t> children_of(pid_t process);

// Whether no thread of the process or of its descendants is running or ready to run at this moment:
// each waits for an event or a timeout. True for a process that does not exist.
bool tree_sleeps(pid_t process);

// The same for the calling process, whose calling thread does not count.
bool all_but_the_caller_sleep();

// How often a thread has gone to sleep so far.
long sleeps_of_thread(pid_t process, pid_t thread);

} // namespace zrp::harness
