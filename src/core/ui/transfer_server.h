// The server of the Wi-Fi transfer pages as a screen sees it: started on a folder, it answers the port
// it listens on; stopped, it is gone. Front ends provide it (Navigator::makeTransferServer).
#pragma once

#include <functional>
#include <string>
#include <variant>

namespace numbrel {

class TransferServer {
public:
    virtual ~TransferServer() = default;
    // Serves the folder's pages on a port the system picks. uploaded runs on the screen's own thread
    // (and only while the screen exists) each time a file has arrived. The port, or why it cannot run.
    virtual std::variant<int, std::string> start(const std::string& folder,
                                                 std::function<void()> uploaded) = 0;
    virtual void stop() = 0;
};

}  // namespace numbrel
