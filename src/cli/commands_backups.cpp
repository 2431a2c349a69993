// Commands over backup and CSV files in the Documents folder: backup, backups, restore, import. They
// run the backups screen's own flows and print the alerts it would show.
#include <cstdio>
#include <filesystem>

#include "cli_context.h"
#include "exchange/backup.h"
#include "exchange/backup_view_controller.h"
#include "main/root_view_controller.h"
#include "text_output.h"

namespace numbrel::cli {

namespace {

void print(Context& ctx, const Alert& a) {
    ctx.out() << a.title << (a.message.empty() ? "" : ": " + a.message) << "\n";
}

// FILE as given, or the name of a file in the Documents folder.
std::string fileArgument(Context& ctx, const std::string& argument) {
    std::error_code ec;
    if (std::filesystem::is_regular_file(argument, ec)) return argument;
    std::string inDocuments = ctx.options().documentsPath + "/" + argument;
    if (argument.find('/') == std::string::npos && std::filesystem::is_regular_file(inDocuments, ec))
        return inDocuments;
    throw InputError("no such file: " + argument);
}

std::string onlyFile(Context& ctx, Args& args, const char* command) {
    std::vector<std::string> rest = args.positionals();
    if (rest.size() != 1) throw UsageError(std::string(command) + " needs one FILE");
    return fileArgument(ctx, rest[0]);
}

void backup(Context& ctx, Args& args) {
    args.positionals();
    NumbrelAppDelegate::Backup b = ctx.delegate().localBackup(ctx.options().documentsPath);
    if (b.error) throw InputError("the backup could not be written: " + *b.error);
    ctx.out() << b.name << "\n";
    ctx.markChanged();  // "filename" is kept in the document
    if (std::optional<std::string> failed = copyBackupToCloud(ctx, b.name)) {
        ctx.save();  // the local backup stands
        throw InputError("the backup was not copied to the cloud folder: " + *failed);
    }
}

// "12 B", "6.0 kB", "5.7 MB".
std::string byteSize(std::uintmax_t bytes) {
    char text[32];
    if (bytes < 1000) {
        std::snprintf(text, sizeof text, "%ju B", bytes);
    } else if (bytes < 1000 * 1000) {
        std::snprintf(text, sizeof text, "%.1f kB", static_cast<double>(bytes) / 1e3);
    } else {
        std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / 1e6);
    }
    return text;
}

void backups(Context& ctx, Args& args) {
    bool json = args.flag("--json");
    args.positionals();
    const std::string& dir = ctx.options().documentsPath;
    std::string latest = latestBackupLine(dir, ctx.delegate().environment());
    auto files = nlohmann::ordered_json::array();
    TextTable table({false, true});
    for (const std::string& name : listBackups(filesIn(dir), {})) {
        std::error_code ec;
        auto size = std::filesystem::file_size(dir + "/" + name, ec);
        files.push_back({{"name", name}, {"bytes", ec ? 0 : size}, {"backup", isBackupName(name)}});
        table.add({name, ec ? "" : byteSize(size)});
    }
    if (!json) {
        ctx.out() << dir << "\n" << latest << "\n";
        table.print(ctx.out());
        return;
    }
    nlohmann::ordered_json out{{"directory", dir}, {"latest", latest}, {"files", files}};
    ctx.out() << out.dump(2) << "\n";
}

void restore(Context& ctx, Args& args) {
    bool install = args.flag("--install");
    std::string path = onlyFile(ctx, args, "restore");
    RecordingNavigator nav;
    BackupViewController screen(ctx.delegate(), nav, ctx.options().documentsPath);
    screen.restoreBackup(path);
    const RestoreOutcome outcome = screen.lastRestore().value_or(RestoreOutcome::Unreadable);
    print(ctx, nav.alerts.back());
    if (outcome == RestoreOutcome::OldBackup && install) {
        screen.answerAlert(BackupViewController::kRestoreTag, 1);
        ctx.out() << "Installed\n";
    }
    if (!nav.closed) throw InputError("the document is unchanged");
    ctx.markChanged();
}

// Verifies a file (a CSV file of readings, or the app's own export) and with --yes imports it after a
// backup, as the backups screen does after "Import".
void importFile(Context& ctx, Args& args, bool fromExport) {
    bool yes = args.flag("--yes");
    bool noBackup = args.flag("--no-backup");
    std::string path = onlyFile(ctx, args, fromExport ? "import-export" : "import");
    RecordingNavigator nav;
    BackupViewController screen(ctx.delegate(), nav, ctx.options().documentsPath);
    fromExport ? screen.importExport(path) : screen.importCSV(path);
    const Alert verdict = nav.alerts.back();
    print(ctx, verdict);
    if (verdict.buttons.size() < 2)
        throw InputError("nothing was imported");  // only "CSV File Verified" asks
    if (!yes) return;
    // A backup first, so that an import that was not wanted can be undone with restore.
    if (!noBackup) {
        NumbrelAppDelegate::Backup b = ctx.delegate().localBackup(ctx.options().documentsPath);
        if (b.error)
            throw InputError("no backup could be made before the import, so nothing was imported: " +
                             *b.error);
        ctx.out() << "Backup before the import: " << b.name << "\n";
        ctx.markChanged();
    }
    screen.answerAlert(BackupViewController::kImportTag, 1);
    print(ctx, nav.alerts.back());
    ctx.markChanged();
}

void import(Context& ctx, Args& args) {
    importFile(ctx, args, false);
}

void importExport(Context& ctx, Args& args) {
    importFile(ctx, args, true);
}

}  // namespace

void restoreCommand(Context& ctx, Args& args) {
    restore(ctx, args);
}

void importCommand(Context& ctx, Args& args) {
    import(ctx, args);
}

void addBackupCommands(std::vector<Command>& commands) {
    commands.push_back(
        {"backup", "backup",
         "Writes a backup of the whole document into the Documents folder and prints its name; with a cloud "
         "folder (--cloud DIR, or cloud.folder in numbrel.conf) it is copied there too.",
         backup});
    commands.push_back({"backups", "backups [--json]",
                        "Lists the files of the Documents folder, newest first, with their sizes and the "
                        "latest-backup line.",
                        backups});
    commands.push_back(
        {"restore", "restore FILE [--install]",
         "Checks a backup file (a path, or a name in the Documents folder) and replaces the document with "
         "it, printing the alert the app shows. --install answers \"Install\" to \"Old Backup?\".",
         restore});
    commands.push_back(
        {"import", "import FILE [--yes [--no-backup]]",
         "Verifies a CSV file of readings (meter name, date, reading 1 to 3) and prints the verdict. --yes "
         "makes a backup (its name is printed; restore it to undo the import), imports the readings and "
         "saves; --no-backup skips the backup.",
         import});
    commands.push_back(
        {"import-export", "import-export FILE [--yes [--no-backup]]",
         "Reads back a file the CSV export wrote (perhaps edited in a spreadsheet): its reading columns, "
         "its dates in this locale's short date and medium time, its numbers in this locale. Rows of a "
         "date a meter has update that reading; others are added. --yes and --no-backup as for import.",
         importExport});
}

}  // namespace numbrel::cli
