#include "service_publisher.h"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <avahi-common/thread-watch.h>

#include <mutex>

namespace numbrel::net {

struct ServicePublisher::Impl {
    int port = 0;
    AvahiThreadedPoll* poll = nullptr;
    AvahiClient* client = nullptr;
    AvahiEntryGroup* group = nullptr;
    mutable std::mutex mutex;  // name and problem, read from other threads
    std::string name;
    std::string problem;

    void fail(const std::string& what, int error) {
        std::lock_guard lock(mutex);
        problem = what + ": " + avahi_strerror(error);
    }

    // A client that waits for the daemon rather than failing when there is none yet.
    void connect() {
        int error = 0;
        client = avahi_client_new(avahi_threaded_poll_get(poll), AVAHI_CLIENT_NO_FAIL, &Impl::clientChanged,
                                  this, &error);
        if (!client) fail("no system bus", error);
    }

    void waiting() {
        std::lock_guard lock(mutex);
        problem = "no Avahi daemon: the service is published once one starts";
    }

    // On Avahi's thread, as every callback below.
    void publish(AvahiClient* c) {
        {
            std::lock_guard lock(mutex);
            problem.clear();
        }
        if (!group) group = avahi_entry_group_new(c, &Impl::groupChanged, this);
        if (!group) return fail("cannot create the entry group", avahi_client_errno(c));
        std::string serviceName;
        {
            std::lock_guard lock(mutex);
            if (name.empty()) name = avahi_client_get_host_name(c);
            serviceName = name;
        }
        int error = avahi_entry_group_add_service(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC,
                                                  AvahiPublishFlags(0), serviceName.c_str(), "_http._tcp",
                                                  nullptr, nullptr, static_cast<uint16_t>(port), nullptr);
        if (error == AVAHI_ERR_COLLISION) return rename(c);
        if (error < 0) return fail("cannot add the service", error);
        if ((error = avahi_entry_group_commit(group)) < 0) fail("cannot publish the service", error);
    }

    void rename(AvahiClient* c) {
        {
            std::lock_guard lock(mutex);
            char* alternative = avahi_alternative_service_name(name.c_str());
            name = alternative;
            avahi_free(alternative);
        }
        if (group) avahi_entry_group_reset(group);
        publish(c);
    }

    static void groupChanged(AvahiEntryGroup* g, AvahiEntryGroupState state, void* self) {
        auto* impl = static_cast<Impl*>(self);
        if (state == AVAHI_ENTRY_GROUP_COLLISION)
            impl->rename(avahi_entry_group_get_client(g));
        else if (state == AVAHI_ENTRY_GROUP_FAILURE)
            impl->fail("publication failed", avahi_client_errno(avahi_entry_group_get_client(g)));
    }

    static void clientChanged(AvahiClient* c, AvahiClientState state, void* self) {
        auto* impl = static_cast<Impl*>(self);
        switch (state) {
            case AVAHI_CLIENT_S_RUNNING:
                impl->publish(c);
                break;
            case AVAHI_CLIENT_S_COLLISION:
            case AVAHI_CLIENT_S_REGISTERING:
                // The host name changes: publish again once the daemon runs under its new name.
                if (impl->group) avahi_entry_group_reset(impl->group);
                break;
            case AVAHI_CLIENT_FAILURE:
                if (avahi_client_errno(c) == AVAHI_ERR_DISCONNECTED) {
                    // The daemon stopped or restarted: a new client waits for it and publishes
                    // again. Freeing the client frees its entry group.
                    avahi_client_free(c);
                    impl->group = nullptr;
                    impl->client = nullptr;
                    impl->connect();
                } else {
                    impl->fail("the Avahi daemon failed", avahi_client_errno(c));
                }
                break;
            case AVAHI_CLIENT_CONNECTING:
                // No daemon yet: the client connects when one appears.
                impl->waiting();
                break;
        }
    }
};

ServicePublisher::ServicePublisher(int port) : impl_(std::make_unique<Impl>()) {
    impl_->port = port;
    impl_->poll = avahi_threaded_poll_new();
    if (!impl_->poll) {
        impl_->problem = "cannot start Avahi's thread";
        return;
    }
    // Created before the thread runs, so the first callbacks find everything in place. A daemon that
    // is missing now, restarts or starts later is waited for, not given up on.
    impl_->connect();
    if (!impl_->client) return;
    if (avahi_threaded_poll_start(impl_->poll) < 0) impl_->problem = "cannot start Avahi's thread";
}

ServicePublisher::~ServicePublisher() {
    if (impl_->poll) avahi_threaded_poll_stop(impl_->poll);
    if (impl_->client) avahi_client_free(impl_->client);  // frees the entry group too
    if (impl_->poll) avahi_threaded_poll_free(impl_->poll);
}

std::string ServicePublisher::name() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->problem.empty() ? impl_->name : "";
}

std::string ServicePublisher::problem() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->problem;
}

}  // namespace numbrel::net
