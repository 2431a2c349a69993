// The objects main.cpp builds once are QML singletons: QML asks for them by name and gets the one
// instance, which stays owned by C++.
#pragma once

#include <QJSEngine>
#include <QQmlEngine>

namespace numbrel::app {

template <class T>
class Singleton {
public:
    static T* create(QQmlEngine*, QJSEngine*) {
        Q_ASSERT(instance_);
        QJSEngine::setObjectOwnership(instance_, QJSEngine::CppOwnership);
        return instance_;
    }

protected:
    explicit Singleton(T* self) { instance_ = self; }
    ~Singleton() { instance_ = nullptr; }

private:
    static inline T* instance_ = nullptr;
};

}  // namespace numbrel::app
