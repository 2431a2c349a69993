// Drives a window as a person would, with real mouse, wheel and keyboard events: finds items by name
// or by the text they show, scrolls them into view, clicks, types, and waits for what should follow.
#pragma once

#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QWheelEvent>
#include <functional>
#include <iostream>
#include <string>

namespace numbrel::app {

class WindowDriver {
public:
    explicit WindowDriver(QQuickWindow& window) : window_(window) {}

protected:
    // Items made by repeaters have no QObject parent: the visual tree is searched.
    QQuickItem* findIn(QQuickItem* item, const std::function<bool(QQuickItem*)>& match) {
        if (!item || !item->isVisible()) return nullptr;
        if (match(item)) return item;
        for (QQuickItem* child : item->childItems())
            if (QQuickItem* found = findIn(child, match)) return found;
        return nullptr;
    }
    QQuickItem* root() {
        QQuickItem* r = window_.contentItem();
        while (r->parentItem())
            r = r->parentItem();
        return r;
    }
    QQuickItem* find(const QString& name) {
        return findIn(root(), [&](QQuickItem* i) { return i->objectName() == name; });
    }
    // The visible item that shows a text (a label or a button).
    QQuickItem* findText(const QString& text) {
        return findIn(root(), [&](QQuickItem* i) {
            return i->property("text").toString() == text && i->width() > 0 && i->opacity() > 0;
        });
    }
    QPoint centreOf(QQuickItem* item) {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    }
    // Scrolls with the mouse wheel, as a person would, until an item is inside the window.
    void scrollIntoView(QQuickItem* item) {
        for (int notches = 0; notches < 40; ++notches) {
            QPointF bottom = item->mapToScene(QPointF(0, item->height()));
            if (bottom.y() <= window_.height() - 4) return;
            QPoint at(window_.width() / 2, window_.height() / 2);
            QWheelEvent notch(QPointF(at), QPointF(window_.mapToGlobal(at)), QPoint(), QPoint(0, -120),
                              Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
            QGuiApplication::sendEvent(&window_, &notch);
            QTest::qWait(60);
        }
    }
    bool click(QQuickItem* item) {
        if (!item) return false;
        waitFor([&] { return !window_.property("busy").toBool(); });  // a moving page takes no clicks
        scrollIntoView(item);
        QTest::qWait(150);  // a closing alert or a moving page takes no clicks
        QTest::mouseClick(&window_, Qt::LeftButton, {}, centreOf(item));
        QTest::qWait(50);
        return true;
    }
    bool clickText(const QString& text) {
        return waitFor([&] { return findText(text) != nullptr; }) && click(findText(text));
    }
    void key(Qt::Key k) {
        QTest::keyClick(&window_, k);
        QTest::qWait(30);
    }
    void type(const std::string& keys) {
        for (char c : keys)
            QTest::keyClick(&window_, c);
        QTest::qWait(30);
    }
    // Waits until no page is moving in or out (a page on its way out is still drawn).
    void settle() {
        QTest::qWait(50);
        waitFor([&] { return !window_.property("busy").toBool(); });
    }
    bool waitFor(const std::function<bool()>& condition, int ms = 3000) {
        for (int waited = 0; waited < ms; waited += 20) {
            if (condition()) return true;
            QTest::qWait(20);
        }
        return condition();
    }
    bool fail(const std::string& step) {
        std::cerr << "ui test: " << step << "\n";
        return false;
    }
    // The alert on show, by its title; its buttons are found by their texts.
    bool alertShown(const QString& title) {
        return waitFor([&] { return findText(title) && find("alertButton-0"); });
    }
    // The page on top has this title and has stopped moving.
    bool pageTitled(const QString& title) {
        return waitFor([&] {
            QQuickItem* bar = find("pageTitle");
            return bar && bar->property("text").toString() == title && !window_.property("busy").toBool();
        });
    }

    QQuickWindow& window_;
};

}  // namespace numbrel::app
