// What the navigation stack tells every screen's model: its screen has been closed. From then on the
// model keeps what it showed last (its page may still be on its way out) and acts no more.
#pragma once

namespace numbrel::app {

class ScreenModel {
public:
    virtual ~ScreenModel() = default;
    virtual void screenGone() = 0;
};

}  // namespace numbrel::app
