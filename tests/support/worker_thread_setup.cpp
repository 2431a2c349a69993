// Linked into every test program: the core runs as the front ends run it on more than one core, with
// paired work on two threads, here even on one core.
#include "platform/worker_thread.h"

namespace {

[[maybe_unused]] const bool kWorkerThread = (numbrel::useWorkerThread(true), true);

}  // namespace
