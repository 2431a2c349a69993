// Commands over the cloud folder: one gathering pass of the document cloud (adopt, offer and restore,
// download, prune), as the app runs on every change of the folder.
#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli_context.h"
#include "exchange/cloud_sync.h"
#include "store/app_delegate.h"
#include "store/file_ops.h"

namespace numbrel::cli {

namespace {

std::string cloudFolder(Context& ctx) {
    if (!ctx.options().cloudFolder.empty()) return ctx.options().cloudFolder;
    return ctx.delegate().configuration().value("cloud.folder");
}

void sync(Context& ctx, Args& args) {
    const bool yes = args.flag("--yes");
    const bool json = args.flag("--json");
    args.positionals();
    const std::string folder = cloudFolder(ctx);
    if (folder.empty())
        throw UsageError("no cloud folder: give --cloud DIR or set cloud.folder in numbrel.conf");

    RecordingNavigator nav;
    ScannedCloudFolder query(folder);
    CloudSync cloud(ctx.delegate(), nav, query, ctx.options().documentsPath);
    const std::string before(stringOf(ctx.delegate().settings(), "filename"));
    cloud.iCloudEnable();
    if (!cloud.enabled()) throw InputError(nav.alerts.empty() ? "no access" : nav.alerts.back().message);

    // A file whose size is still changing is looked at again a moment later, a few times at most.
    GatheringReport report = cloud.report();
    for (int looks = 0; !report.waiting.empty() && report.offered.empty() && looks < 10; ++looks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        query.changed();
        report = cloud.report();
    }

    std::string restored;
    for (std::size_t i = 0; i < nav.alerts.size(); ++i) {
        if (nav.alerts[i].tag != CloudSync::kOfferTag || !nav.answers[i]) continue;
        if (yes) {
            nav.answers[i](1);
            restored = report.offered;
        }
    }
    // An offer not taken is not remembered: the next pass offers it again.
    if (!restored.empty() || !report.adopted.empty())
        ctx.markChanged();
    else
        ctx.delegate().settings().set("filename", before);

    if (json) {
        nlohmann::ordered_json out{
            {"directory", *cloud.directory()},
            {"adopted", report.adopted},
            {"offered", report.offered},
            {"restored", restored},
            {"downloaded", report.downloaded},
            {"waiting", report.waiting},
            {"pruned", {{"cloud", report.prunedFromCloud}, {"local", report.prunedLocally}}}};
        ctx.out() << out.dump(2) << "\n";
        return;
    }
    auto line = [&](const char* what, const std::string& name) {
        if (!name.empty()) ctx.out() << what << " " << name << "\n";
    };
    line("adopted", report.adopted);
    line("downloaded", report.downloaded);
    line("offered", report.offered);
    line("restored", restored);
    line("not yet available", report.waiting);
    for (const std::string& name : report.prunedFromCloud)
        line("pruned from the cloud", name);
    for (const std::string& name : report.prunedLocally)
        line("pruned locally", name);
}

}  // namespace

// backup with a cloud folder: the new file copied up as well.
std::optional<std::string> copyBackupToCloud(Context& ctx, const std::string& name) {
    const std::string folder = cloudFolder(ctx);
    if (folder.empty()) return std::nullopt;
    std::optional<std::string> directory = cloudDocumentsIn(folder);
    if (!directory) return "no access to the cloud folder " + folder;
    return copyThroughTemporary(ctx.options().documentsPath + "/" + name, *directory, name);
}

void addCloudCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"sync", "sync [--yes] [--json]",
         "One pass over the cloud folder (--cloud DIR, or cloud.folder in numbrel.conf), as the app makes on "
         "every change there: a fresh device adopts the newest backup's name; a newer backup is copied down "
         "and offered, and restored with --yes; with automatic backups on, all but the three newest backups "
         "are pruned. A file still being written is waited for a few seconds, then left for the next pass.",
         sync});
}

}  // namespace numbrel::cli
