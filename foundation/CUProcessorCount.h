// GetProcessorCount: how many processors this process may run on, at least 1.
//
// The count follows the CPU affinity of the calling thread (which threads inherit from the
// process), so a process confined by taskset or a container's cpuset sizes its work to what it
// may actually use. Safe from any thread; asks the system on every call.
#pragma once

#include <cstdint>

uint32_t GetProcessorCount();
