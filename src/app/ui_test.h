// The app's own UI test: taps "+", turns a wheel, saves, answers "Reading Saved", and finds the new
// reading on the Readings row, with real mouse events in an offscreen window.
#pragma once

class QQuickWindow;

namespace numbrel::app {

class NavigationStack;

// Returns 0 when every step did what a user would see, else 1 (with the failed step on stderr).
int runUiTest(QQuickWindow& window, NavigationStack& stack);

}  // namespace numbrel::app
