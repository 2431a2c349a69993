#include "network_reachability.h"

#include <QNetworkInformation>

namespace numbrel::app {

NetworkReachability::Hint NetworkReachability::hint() const {
    // Loaded when first asked, so that start-up does not wait for the network manager.
    static const bool loaded =
        QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability);
    QNetworkInformation* info = loaded ? QNetworkInformation::instance() : nullptr;
    if (!info) return Hint::Unknown;
    switch (info->reachability()) {
        case QNetworkInformation::Reachability::Disconnected:
            return Hint::Offline;
        case QNetworkInformation::Reachability::Local:
        case QNetworkInformation::Reachability::Site:
            return Hint::Local;
        case QNetworkInformation::Reachability::Online:
            return Hint::Online;
        case QNetworkInformation::Reachability::Unknown:
            break;
    }
    return Hint::Unknown;
}

bool NetworkReachability::internetReachable() const {
    switch (hint()) {
        case Hint::Offline:
            return false;
        case Hint::Online:
            return true;
        // A network manager that sees only a local network may not check beyond it: the routes decide.
        case Hint::Local:
        case Hint::Unknown:
            break;
    }
    return system_.internetReachable();
}

bool NetworkReachability::localNetworkReachable() const {
    return hint() != Hint::Offline && system_.localNetworkReachable();
}

std::string NetworkReachability::localIPAddress() const {
    return system_.localIPAddress();
}

}  // namespace numbrel::app
