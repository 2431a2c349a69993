#include "platform/worker_thread.h"

#include <system_error>
#include <thread>

#include "plist/paired_work.h"

namespace numbrel {

void useWorkerThread(bool evenOnOneCore) {
    if (std::thread::hardware_concurrency() < 2 && !evenOnOneCore) return;
    installPairRunner([](const std::function<void()>& first, const std::function<void()>& second) {
        std::thread worker;
        try {
            worker = std::thread(second);
        } catch (const std::system_error&) {  // no thread to be had: both here, in turn
            first();
            second();
            return;
        }
        first();
        worker.join();
    });
}

}  // namespace numbrel
