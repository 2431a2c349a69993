#include "value_editor.h"

#include "costs/formatter.h"
#include "readings/property_editors.h"
#include "ui/localize.h"

namespace numbrel::app {

namespace {

QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

}  // namespace

ValueEditor::ValueEditor(const Formatter& formatter, QObject* parent)
    : QObject(parent), Singleton(this), formatter_(formatter) {}

void ValueEditor::open(ScreenStack::Id owner, ValueEdit edit) {
    owner_ = owner;
    edit_ = std::move(edit);
    emit opened();
}

QString ValueEditor::title() const {
    return edit_ ? qs(edit_->title) : QString();
}
QString ValueEditor::prompt() const {
    return edit_ ? qs(edit_->prompt) : QString();
}
QString ValueEditor::value() const {
    return edit_ ? qs(edit_->value) : QString();
}
QString ValueEditor::period() const {
    return edit_ && edit_->period ? qs(*edit_->period) : QString();
}
QString ValueEditor::kind() const {
    static const char* const kKinds[] = {"number", "text", "postcode", "notes", "date", "password"};
    return edit_ ? kKinds[static_cast<int>(edit_->kind)] : "number";
}

QVariant ValueEditor::typed(const QString& current, const QString& candidate) const {
    if (!edit_) return candidate;
    std::optional<std::string> accepted =
        acceptTyping(*edit_, current.toStdString(), candidate.toStdString(), formatter_.decimalSeparator());
    return accepted ? QVariant(qs(*accepted)) : QVariant();
}

bool ValueEditor::apply(const QString& text, const QString& period) {
    if (!edit_ || !stack_) return true;  // nothing left to apply: the dialog closes
    ValueEdit edit = std::move(*edit_);
    edit_.reset();
    bool written = false, refused = false;
    stack_->act(owner_, [&](Screen&) {
        if (edit.valid && !edit.valid()) return;
        written = edit.apply(text.toStdString(), period.toStdString());
        refused = !written;
    });
    if (refused) {
        edit_ = std::move(edit);  // the dialog stays open with the value as typed
        return false;
    }
    if (!written)
        // The screen closed, or what it edited went (a restore, a meter deleted) while the editor
        // was open: the value is not written anywhere else.
        stack_->present(
            Alert{0,
                  numbrel::tr("Warning!"),
                  numbrel::tr("The value was not saved: what it belonged to changed while it was being "
                              "edited"),
                  {numbrel::tr("OK")}});
    return true;
}

void ValueEditor::cancel() {
    edit_.reset();
}

}  // namespace numbrel::app
