// The editor of one value (a number, a line of text, a postcode, notes, a date) that a row opens: what
// QML's editor dialog shows, the typing rules it applies keystroke by keystroke, and the value written
// back through the screen that asked, if that screen and what it edits are still there.
#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QVariant>
#include <optional>

#include "singleton.h"
#include "ui/screen_stack.h"

namespace numbrel {
class Formatter;
}

namespace numbrel::app {

class ValueEditor : public QObject, public Singleton<ValueEditor> {
    Q_OBJECT
    QML_NAMED_ELEMENT(Editor)
    QML_SINGLETON
    Q_PROPERTY(bool editing READ editing NOTIFY opened)
    Q_PROPERTY(QString title READ title NOTIFY opened)
    Q_PROPERTY(QString prompt READ prompt NOTIFY opened)
    Q_PROPERTY(QString value READ value NOTIFY opened)
    Q_PROPERTY(QString period READ period NOTIFY opened)
    Q_PROPERTY(QString kind READ kind NOTIFY opened)
    Q_PROPERTY(bool allowNegative READ allowNegative NOTIFY opened)
    Q_PROPERTY(bool negative READ negative NOTIFY opened)
    Q_PROPERTY(bool required READ required NOTIFY opened)

public:
    explicit ValueEditor(const Formatter& formatter, QObject* parent = nullptr);
    // Set once the stack exists (the stack needs the editor, the editor the stack).
    void setStack(ScreenStack& stack) { stack_ = &stack; }

    void open(ScreenStack::Id owner, ValueEdit edit);

    bool editing() const { return edit_.has_value(); }
    QString title() const;
    QString prompt() const;
    QString value() const;
    QString period() const;
    QString kind() const;
    bool allowNegative() const { return edit_ && edit_->allowNegative; }
    bool negative() const { return edit_ && edit_->negative; }
    bool required() const { return edit_ && edit_->required; }

    // The field after an edit from current to candidate, or null when the edit is refused.
    Q_INVOKABLE QVariant typed(const QString& current, const QString& candidate) const;
    // Writes the value; false when it is refused (the dialog stays open). A value whose screen or
    // target has gone is not written anywhere, and the user is told.
    Q_INVOKABLE bool apply(const QString& text, const QString& period);
    Q_INVOKABLE void cancel();

signals:
    void opened();

private:
    const Formatter& formatter_;
    ScreenStack* stack_ = nullptr;
    ScreenStack::Id owner_ = 0;
    std::optional<ValueEdit> edit_;
};

}  // namespace numbrel::app
