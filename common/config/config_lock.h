// The lock that keeps the writers of configuration files apart. Internal to the library.
//
// It is a lock on the folder, which stays when a rewrite replaces the file, and it ends with the
// process that holds it. Locks of a file would not do: between the deletion of a file and the
// renaming of its copy a writer would lock a file of its own.
#pragma once

#include "../uncancelled.h"

#pragma GCC visibility push(hidden)

namespace zrp {

class ConfigLock {
public:
    // Locks the folder of the file. Without the lock where locks are not possible (the folder
    // cannot be read, or its file system has none), and after kConfigLockPatience.
    explicit ConfigLock(const char* path);
    ~ConfigLock();
    ConfigLock(const ConfigLock&) = delete;
    ConfigLock& operator=(const ConfigLock&) = delete;

private:
    Uncancelled uncancelled_;
    int folder_;
};

} // namespace zrp

#pragma GCC visibility pop
