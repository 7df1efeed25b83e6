#pragma once

namespace morv {

// Gives this process and its children a shared memory folder (/dev/shm) and System V semaphores of their own.
// Servers and clients of JACK meet there, and one that is killed while it holds a lock there leaves the lock
// behind for every later client of the user. To be called before the process has a second thread. False where
// the system does not let a process do so; everything then stays as it was.
bool takeOwnSharedMemory();

}  // namespace morv
