// The vocabulary every screen model speaks: sections of rows with their accessories, and the
// navigator through which a screen pushes, pops and presents. The GUI draws these; tests read them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/alert.h"

namespace numbrel {

enum class Accessory { None, Disclosure, Check, Switch, Segments };

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
enum class EditKind { Number, Text, Postcode, Notes, Date };

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

// A mail to hand to the mail composer: recipient (may be empty), subject, plain-text body and one file
// attached whole under its own name.
struct Mail {
    std::string to;
    std::string subject;
    std::string body;
    std::string attachmentPath;
};

// What a screen asks of whoever shows it.
class Navigator {
public:
    virtual ~Navigator() = default;
    // The mail composer, where the platform has one.
    virtual bool canSendMail() const { return false; }
    virtual void composeMail(const Mail& /*mail*/) {}
    virtual void push(std::unique_ptr<Screen> screen) = 0;
    virtual void pop() = 0;
    virtual void present(const Alert& alert) = 0;
    virtual void dismiss() = 0;  // closes the presented screen or alert
    virtual void openUrl(const std::string& url) = 0;
};

// A table screen: title, sections, and the user's actions on them.
class Screen {
public:
    virtual ~Screen() = default;
    virtual std::string title() const = 0;
    virtual std::vector<Section> sections() const = 0;
    virtual void selectRow(int /*section*/, int /*row*/) {}
    virtual void flipSwitch(int /*tag*/, bool /*on*/) {}
    virtual void chooseSegment(int /*tag*/, int /*index*/) {}
    virtual void answerAlert(int /*tag*/, int /*button*/) {}
    // The value a row edits, when it edits one in place.
    virtual std::optional<ValueEdit> editFor(int /*section*/, int /*row*/) { return std::nullopt; }
    // A delete button in the bar, and what it does.
    virtual bool canDelete() const { return false; }
    virtual void deleteAction() {}
    // An Edit/Done button in the bar; while editing, rows marked deletable can be deleted.
    virtual bool canEdit() const { return false; }
    virtual bool isEditing() const { return false; }
    virtual void setEditing(bool /*on*/) {}
    virtual void commitDelete(int /*section*/, int /*row*/) {}
};

// The row a label sits on, or null. Not for a temporary list of sections: the row would dangle.
const Row* findRow(const std::vector<Section>& sections, const std::string& label);
const Row* findRow(std::vector<Section>&& sections, const std::string& label) = delete;
// The detail text of the row a label sits on ("" when there is none).
std::string detailOf(const std::vector<Section>& sections, const std::string& label);

}  // namespace numbrel
