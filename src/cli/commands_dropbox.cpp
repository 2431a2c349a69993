// numbrel-cli dropbox ...: the linked Dropbox account as the backups screen uses it. The link is kept
// where the app keeps it (the keyring, or the file the user chose), or in --token-file FILE.
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "cli_context.h"
#include "dropbox_client.h"
#include "exchange/dropbox.h"
#include "store/app_delegate.h"

namespace numbrel::cli {

namespace {

std::unique_ptr<net::DropboxClient> client(Context& ctx, const std::optional<std::string>& tokenFile) {
    std::string problem;
    net::DropboxSettings settings = net::DropboxSettings::from(ctx.delegate().configuration(), problem);
    if (!problem.empty()) throw InputError(problem);
    auto dropbox = std::make_unique<net::DropboxClient>(
        std::move(settings), net::chooseTokenStore(ctx.delegate().configuration(), tokenFile.value_or("")));
    dropbox->loadTokens();
    return dropbox;
}

[[noreturn]] void fail(const DropboxFailure& f) {
    throw InputError(f.unlinked ? f.reason + "; link the account again with: dropbox link" : f.reason);
}

// The folder in use ("/Numbrel/" or "/") and its entries.
std::pair<std::string, std::vector<DropboxEntry>> folder(DropboxSession& dropbox) {
    auto read = readDropboxFolder(dropbox, "/", {});
    if (auto* f = std::get_if<DropboxFailure>(&read)) fail(*f);
    DropboxFolder& found = std::get<DropboxFolder>(read);
    return {found.prefix, std::move(found.entries)};
}

void dropbox(Context& ctx, Args& args) {
    const std::optional<std::string> tokenFile = args.option("--token-file");
    const bool apps = args.flag("--apps");
    const bool json = args.flag("--json");
    const bool install = args.flag("--install");
    const bool yes = args.flag("--yes");
    const bool noBackup = args.flag("--no-backup");
    std::vector<std::string> rest = args.positionals();
    if (rest.empty()) throw UsageError("dropbox needs link, unlink, ls, put, get, rm, restore or import");
    const std::string what = rest[0];
    auto one = [&](const char* name) {
        if (rest.size() != 2) throw UsageError("dropbox " + what + " needs one " + name);
        return rest[1];
    };
    std::unique_ptr<net::DropboxClient> dropbox = client(ctx, tokenFile);

    if (what == "link") {
        if (rest.size() != 1) throw UsageError("dropbox link [--apps]");
        // The page to open; the code it shows comes back on standard input.
        ctx.out() << dropbox->startLink(!apps) << std::endl;
        std::cerr << "Open the address above, allow access, and paste the code here: " << std::flush;
        std::string code;
        if (!std::getline(std::cin, code)) throw InputError("no code was given");
        if (std::optional<DropboxFailure> f = dropbox->finishLink(code)) fail(*f);
        ctx.out() << "linked (" << (apps ? "application folder" : "whole Dropbox") << ")\n";
        if (dropbox->keptForThisRunOnly())
            std::cerr << "numbrel-cli: no keyring answers, so the link ends with this command; keep it with "
                         "--token-file FILE, or with \"tokens = file\" under [dropbox] in numbrel.conf\n";
        return;
    }
    if (what == "unlink") {
        dropbox->unlink();
        ctx.out() << "unlinked\n";
        return;
    }
    if (!dropbox->linked()) throw InputError("no Dropbox account is linked; link one with: dropbox link");
    const std::string& documents = ctx.options().documentsPath;
    if (what == "ls") {
        if (rest.size() != 1) throw UsageError("dropbox ls [--json]");
        auto [prefix, entries] = folder(*dropbox);
        const std::vector<std::string> names = dropboxBackups(entries, prefix);
        nlohmann::ordered_json out{{"folder", prefix}, {"files", nlohmann::ordered_json::array()}};
        for (const std::string& name : names)
            for (const DropboxEntry& e : entries)
                if (e.path == prefix + name) {
                    if (json)
                        out["files"].push_back({{"name", name}, {"size", e.size}, {"modified", e.modified}});
                    else
                        ctx.out() << name << "\t" << e.size << "\t" << e.modified << "\n";
                }
        if (json) ctx.out() << out.dump(2) << "\n";
        return;
    }
    if (what == "put") {
        const std::string file = one("FILE");
        const std::string name = std::filesystem::path(file).filename().string();
        const std::string local = std::filesystem::exists(file) ? file : documents + "/" + file;
        auto [prefix, entries] = folder(*dropbox);
        if (std::optional<DropboxFailure> f = dropbox->upload(local, prefix + name, {})) fail(*f);
        ctx.out() << prefix << name << "\n";
        return;
    }
    const std::string name = one("NAME");
    if (name.find('/') != std::string::npos || name.starts_with("."))
        throw UsageError("NAME is a file name of the Dropbox folder");
    auto [prefix, entries] = folder(*dropbox);
    if (what == "rm") {
        if (std::optional<DropboxFailure> f = dropbox->remove(prefix + name)) fail(*f);
        ctx.out() << "deleted " << prefix << name << "\n";
        return;
    }
    if (what != "get" && what != "restore" && what != "import")
        throw UsageError("dropbox needs link, unlink, ls, put, get, rm, restore or import");
    std::error_code ec;
    std::filesystem::create_directories(documents, ec);
    if (std::optional<DropboxFailure> f = dropbox->download(prefix + name, documents, name, {})) fail(*f);
    if (what == "get") {
        ctx.out() << documents << "/" << name << "\n";
        return;
    }
    std::vector<std::string> forward{name};
    if (what == "restore" && install) forward.push_back("--install");
    if (what == "import" && yes) forward.push_back("--yes");
    if (what == "import" && noBackup) forward.push_back("--no-backup");
    Args next(forward);
    what == "restore" ? restoreCommand(ctx, next) : importCommand(ctx, next);
}

}  // namespace

void addDropboxCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"dropbox",
         "dropbox (link [--apps] | unlink | ls [--json] | put FILE | get NAME | rm NAME | restore NAME "
         "[--install] | import NAME [--yes]) [--token-file FILE]",
         "The linked Dropbox account, in its folder \"/Numbrel\" when it has one, else at its top. link "
         "prints "
         "the page that allows access on its first line and reads the code the page shows from standard "
         "input (--apps: the application-folder mode). ls lists the backup and CSV files as the backups "
         "screen does; get copies a file into the Documents folder; restore and import fetch it, then run "
         "restore or import on it. The link is kept in the keyring, or in the file numbrel.conf names "
         "([dropbox] tokens = file), or in --token-file FILE.",
         dropbox});
}

}  // namespace numbrel::cli
