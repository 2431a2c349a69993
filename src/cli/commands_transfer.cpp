// The Wi-Fi transfer pages served from the command line: the Documents folder for a browser on the
// same network, until the process is told to stop.
#include <pthread.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <variant>

#include "cli_context.h"
#include "pages_server.h"
#include "reachability.h"

namespace numbrel::cli {

namespace {

long number(const std::string& text, const std::string& what, long low, long high) {
    std::size_t used = 0;
    long n = 0;
    try {
        n = std::stol(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used != text.size() || n < low || n > high)
        throw UsageError(what + " must be a whole number from " + std::to_string(low) + " to " +
                         std::to_string(high));
    return n;
}

void serve(Context& ctx, Args& args) {
    // numbrel.conf's [wifi] options, then what the command line says.
    net::HttpServerOptions options = net::transferOptions(ctx.delegate().configuration());
    options.bindAddress = args.option("--bind").value_or("");
    if (auto port = args.option("--port")) options.port = static_cast<int>(number(*port, "--port", 0, 65535));
    if (auto password = args.option("--password")) options.password = *password;
    if (auto digest = args.option("--digest")) {
        std::optional<net::HttpServerOptions::Digest> named = net::digestNamed(*digest);
        if (!named) throw UsageError("--digest is md5 or sha-256");
        options.digest = *named;
    }
    if (auto limit = args.option("--upload-limit"))
        options.uploadLimit = static_cast<std::uint64_t>(number(*limit, "--upload-limit", 1, LONG_MAX));
    if (auto idle = args.option("--idle-timeout"))
        options.idleTimeout = std::chrono::seconds(number(*idle, "--idle-timeout", 1, 3600));
    if (auto wait = args.option("--header-timeout"))
        options.headerTimeout = std::chrono::seconds(number(*wait, "--header-timeout", 1, 3600));
    const bool verbose = args.flag("--verbose");
    if (!args.positionals().empty()) throw UsageError("serve takes no arguments");

    const std::string root = ctx.options().documentsPath;
    std::error_code ec;
    std::filesystem::create_directories(root, ec);
    if (!std::filesystem::is_directory(root, ec)) throw InputError("no Documents folder at " + root);

    // SIGINT and SIGTERM are waited for here; every thread started from now on leaves them to this one.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    std::ostream& err = ctx.err();
    net::PagesServer server(options, nullptr);
    std::variant<int, std::string> started = server.start(root, [verbose, &err] {
        if (verbose) err << "NewFileUploaded\n" << std::flush;
    });
    if (const std::string* problem = std::get_if<std::string>(&started)) throw InputError(*problem);
    const int port = std::get<int>(started);

    std::string host = options.bindAddress;
    if (host.empty() || host == "0.0.0.0" || host == "::") {
        host = net::localIPAddress();
        if (host == "(error)") host = "127.0.0.1";
    }
    if (host.find(':') != std::string::npos) host = "[" + host + "]";
    ctx.out() << "http://" << host << ":" << port << "/" << std::endl;

    int signal = 0;
    if (verbose) {
        // Give the daemon a moment to answer before saying how publication went.
        timespec moment{1, 0};
        siginfo_t info{};
        signal = sigtimedwait(&stopSignals, &info, &moment);
        const net::ServicePublisher& publisher = *server.publisher();
        err << (publisher.problem().empty() ? "published as " + publisher.name() : publisher.problem())
            << "\n";
    }
    if (signal <= 0) sigwait(&stopSignals, &signal);
    server.stop();
}

}  // namespace

void addTransferCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"serve",
         "serve [--bind ADDR] [--port N] [--password PW] [--digest md5|sha-256] [--upload-limit BYTES] "
         "[--idle-timeout S] [--header-timeout S] [--verbose]",
         "Serves the Wi-Fi transfer pages of the Documents folder (download the files, upload new ones) "
         "until SIGINT or SIGTERM. Prints the address to open on its first line. Port 0 (the default) lets "
         "the system pick one. A password (or wifi.password in numbrel.conf) asks browsers for it; any user "
         "name will do. The service is published on the local network where an Avahi daemon runs; "
         "--verbose tells how that went and each upload.",
         serve});
}

}  // namespace numbrel::cli
