// The vocabulary every screen model speaks: sections of rows with their accessories, and the
// navigator through which a screen pushes, pops and presents. The GUI draws these; tests read them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/alert.h"
#include "ui/reachability.h"
#include "ui/transfer_server.h"

namespace numbrel {

// What sits at a row's right: a chevron, a check mark, a switch, a segmented control in place of the
// label, or an info button that opens the row's details (a meter's rates) apart from selecting it.
enum class Accessory { None, Disclosure, Check, Switch, Segments, Info };
// "disclosure", "check", "switch", "segments", "info", or "" for none: how front ends name them.
const char* accessoryName(Accessory accessory);

struct RowColor {
    double r = 0, g = 0, b = 0;
    friend bool operator==(const RowColor&, const RowColor&) = default;
};

struct Row {
    std::string label;
    std::string detail;
    Accessory accessory = Accessory::None;
    int tag = 0;                        // switches and segments tell themselves apart by it
    bool on = false;                    // a switch's state
    std::vector<std::string> segments;  // a segmented control in place of the label
    int selectedSegment = -1;
    bool enabled = true;
    bool selectable = true;
    std::optional<RowColor> color;  // the label's colour when not the default
    bool deletable = false;         // editing mode offers to delete the row
    bool swipeDeletes = false;      // a swipe to the left offers to delete the row
    bool movable = false;           // editing mode offers to move the row up or down
    bool checked = false;           // a check mark beside another accessory (the meter shown)
    bool adds = false;              // editing mode shows a green "+" that does what selecting does
    // What the row stands for, in its screen's own terms (an enum of the screen), and which one where
    // there are several (a register, a step, a file): selecting, editing or deleting the row acts on
    // these, never on the row's position, so that rows added or hidden later cannot shift another
    // row's behaviour.
    int action = 0;
    int index = 0;
};

struct Section {
    std::string header;
    std::string footer;
    std::vector<Row> rows;
};

class Screen;

// The kinds of value editor: a number field (with its typing rules, and a sign button when negative
// values are allowed), a one-line text field, a postcode field (typed upper case, refusing what can no
// longer become a postcode), a multi-line text area, and a date ("YYYY-MM-DD") shown on a picker.
// Password: text shown as dots, one line without control characters.
enum class EditKind { Number, Text, Postcode, Notes, Date, Password };

// What a row edits when it is a value rather than a choice: the editor's title and prompt, the value
// as text, and whether a period word goes with it. apply() stores the text (and period) with the
// screen's rules and answers false when the value is refused. A number whose sign button shows "-"
// reaches apply() with a leading "-".
struct ValueEdit {
    std::string title;
    std::string prompt;
    std::string value;
    std::optional<std::string> period;  // "day" ... "year" when the value is per period
    EditKind kind = EditKind::Number;
    std::function<bool(const std::string& text, const std::string& period)> apply;
    bool allowFloat = true;      // numbers: a decimal point may be typed
    bool allowNegative = false;  // numbers: a sign button
    bool negative = false;       // numbers: the sign the button starts at (value holds the magnitude)
    bool required = false;       // Save only while the text is not empty
    // Whether what the editor writes into is still there (null: always). An editor left open while
    // the document is replaced, or meters come and go, must not write.
    std::function<bool()> valid;
};

// A mail to hand to the mail composer: recipient (may be empty), subject, body (plain text, or HTML
// when html is set) and one file attached whole under its own name.
struct Mail {
    std::string to;
    std::string subject;
    std::string body;
    std::string attachmentPath;
    bool html = false;
};

// How far long work has come (0 to 1); answering false asks it to stop.
using Progress = std::function<bool(double done)>;

// Work that may take longer than a frame. work runs wherever the front end likes (a worker thread in
// the app) on its own input only: copies and files, never the live document. It answers what to do
// with its result, which runs on the screen's own thread, and only if the screen that asked still
// exists.
struct Job {
    std::string title;         // said while it runs ("Restoring…")
    std::string message;       // said under the title, when there is more to say
    bool cancellable = false;  // a Cancel button stops it through its progress
    std::function<std::function<void()>(const Progress& progress)> work;
};

// What a screen asks of whoever shows it. Everything a screen asks for while it acts (pops, alerts,
// jobs) concerns that screen: answers and results come back to it.
class Navigator {
public:
    virtual ~Navigator() = default;
    virtual void push(std::unique_ptr<Screen> screen) = 0;
    // Closes the screen that is acting, once its action has returned.
    virtual void pop() = 0;
    virtual void present(const Alert& alert) = 0;
    // An alert from something that is not a screen (the document cloud's offer): its answer goes to
    // answered. Where the front end cannot answer, nothing is called.
    virtual void present(const Alert& alert, std::function<void(int button)> /*answered*/) { present(alert); }
    virtual void dismiss() = 0;  // closes the presented screen or alert
    virtual void openUrl(const std::string& url) = 0;
    // Whether the internet or the local network can be reached, asked before anything goes out.
    virtual const Reachability& reachability() const;
    // A server for the transfer pages, where the front end can run one (null where it cannot).
    virtual std::unique_ptr<TransferServer> makeTransferServer() { return nullptr; }
    // The mail composer, where the platform has one.
    virtual bool canSendMail() const { return false; }
    virtual void composeMail(const Mail& /*mail*/) {}
    // A value editor opened by the screen itself rather than by a row (a code to paste); its answer
    // is written only while the screen exists.
    virtual void editValue(ValueEdit /*edit*/) {}
    // Long work (see Job). Without a better place it runs here and now.
    virtual void run(Job job) {
        if (std::function<void()> apply = job.work(Progress{})) apply();
    }
    // Work of the application rather than of a screen (the document cloud's copies): its result
    // applies even when the screen that started it has gone since.
    virtual void runForApp(Job job) { run(std::move(job)); }
    // A continuation for the screen acting now, to be called later (when app work it started is
    // done): it then runs only while that screen exists, and as its action.
    virtual std::function<void()> guard(std::function<void()> then) { return then; }
    // A file chooser, where the platform has one: files to open, or where to save one (a name is
    // suggested). chosen gets the paths picked; when the user cancels it is not called, unless the
    // choice asks to hear of that (then it gets no paths).
    struct FileChoice {
        bool save = false;
        std::string name;
        bool folder = false;      // a folder to use, rather than files
        bool tellCancel = false;  // a cancelled chooser answers with no paths
    };
    virtual bool canChooseFiles() const { return false; }
    virtual void chooseFiles(const FileChoice& /*choice*/,
                             std::function<void(const std::vector<std::string>& paths)> /*chosen*/) {}
    // A folder for files handed to other programs (a mail's attachment).
    virtual std::string temporaryFolder() const;
};

// A table screen: title, sections, and the user's actions on them. Actions on a row name it by its
// position as shown; the screen looks the row up and acts on what the row stands for.
class Screen {
public:
    virtual ~Screen() = default;
    virtual std::string title() const = 0;
    virtual std::vector<Section> sections() const = 0;

    void selectRow(int section, int row);
    // The value a row edits, when it edits one in place.
    std::optional<ValueEdit> editFor(int section, int row);
    // The delete button of a row (editing mode or a swipe) was pressed.
    void commitDelete(int section, int row);
    // A row's info button was pressed.
    void showInfo(int section, int row);
    // Moves a row (editing mode) to another position of its section; false when it may not go there.
    bool moveRow(int section, int from, int to);

    virtual void flipSwitch(int /*tag*/, bool /*on*/) {}
    virtual void chooseSegment(int /*tag*/, int /*index*/) {}
    // A segmented control in the title bar in place of the title (none when empty), the segment
    // chosen, and the tag chooseSegment hears it by.
    virtual std::vector<std::string> titleSegments() const { return {}; }
    virtual int titleSegment() const { return -1; }
    static constexpr int kTitleSegmentsTag = -1;
    virtual void answerAlert(int /*tag*/, int /*button*/) {}
    // A delete button in the bar, and what it does.
    virtual bool canDelete() const { return false; }
    virtual void deleteAction() {}
    // An Edit/Done button in the bar; while editing, rows marked deletable can be deleted.
    virtual bool canEdit() const { return false; }
    virtual bool isEditing() const { return false; }
    virtual void setEditing(bool /*on*/) {}
    // The screen has come on top of the stack, as its own action: work it starts now reports to it.
    virtual void appeared() {}
    // The user leaves the screen (Back, Done, Cancel); the screen closes itself once this returns.
    virtual void closeAction() {}
    // The bar's way out: the back button's word ("" for none), and whether a Done button closes the
    // screen too (where the bar has no Delete or Edit).
    virtual std::string backLabel() const;
    virtual bool hasDone() const { return false; }

protected:
    virtual void select(const Row& /*row*/) {}
    virtual std::optional<ValueEdit> edit(const Row& /*row*/) { return std::nullopt; }
    virtual void remove(const Row& /*row*/) {}
    virtual void info(const Row& /*row*/) {}
    virtual bool move(const Row& /*row*/, int /*to*/) { return false; }
};

// A row among choices: a check mark when chosen; a disabled one can be neither selected nor chosen.
Row choice(std::string label, bool checked, int action, int index, bool enabled = true);

// The row a label sits on, or null. Not for a temporary list of sections: the row would dangle.
const Row* findRow(const std::vector<Section>& sections, const std::string& label);
const Row* findRow(std::vector<Section>&& sections, const std::string& label) = delete;
// The detail text of the row a label sits on ("" when there is none).
std::string detailOf(const std::vector<Section>& sections, const std::string& label);

}  // namespace numbrel
