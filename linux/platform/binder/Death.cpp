#include <standin/ThreadSafety.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Binder.h"

struct AIBinder_DeathRecipient {
    AIBinder_DeathRecipient_onBinderDied onDied;
    AIBinder_DeathRecipient_onBinderUnlinked onUnlinked = nullptr;
    int running = 0;  // calls of onDied under way
};

namespace standin {
namespace {

struct Link {
    AIBinder* binder;
    AIBinder_DeathRecipient* recipient;
    void* cookie;
};

// All links of the process. Lives as long as it: deaths may be told while the process exits.
struct Links {
    std::mutex mutex;
    std::condition_variable_any ranOne;
    std::vector<Link> all GUARDED_BY(mutex);
};

Links& links() {
    static Links& one = *new Links;
    return one;
}

// The recipient whose onDied this thread is in; null once that recipient is deleted.
thread_local AIBinder_DeathRecipient* tRunning = nullptr;

// Takes the first link that `matches` out of the list.
template <typename Matches>
std::optional<Link> takeLink(Matches matches) REQUIRES(links().mutex) {
    std::vector<Link>& all = links().all;
    const auto found = std::find_if(all.begin(), all.end(), matches);
    if (found == all.end()) return std::nullopt;
    const Link link = *found;
    all.erase(found);
    return link;
}

template <typename Matches>
std::optional<Link> lockAndTakeLink(Matches matches) {
    const std::lock_guard<std::mutex> lock(links().mutex);
    return takeLink(matches);
}

void unlinked(AIBinder_DeathRecipient_onBinderUnlinked onUnlinked, void* cookie) {
    if (onUnlinked != nullptr) onUnlinked(cookie);
}

// The first link of the binder, whose recipient counts as running from here on.
std::optional<Link> takeLinkToRun(AIBinder* binder) {
    const std::lock_guard<std::mutex> lock(links().mutex);
    const auto link = takeLink([&](const Link& each) { return each.binder == binder; });
    if (link) ++link->recipient->running;
    return link;
}

// Tells one recipient, which may delete itself meanwhile.
void run(const Link& link) {
    const auto onUnlinked = link.recipient->onUnlinked;
    tRunning = link.recipient;
    link.recipient->onDied(link.cookie);
    unlinked(onUnlinked, link.cookie);
    const std::lock_guard<std::mutex> lock(links().mutex);
    if (std::exchange(tRunning, nullptr) == nullptr) return;
    --link.recipient->running;
    links().ranOne.notify_all();
}

}  // namespace

void notifyDeath(AIBinder* binder) {
    while (const auto link = takeLinkToRun(binder)) run(*link);
}

void dropDeathLinks(AIBinder* binder) {
    const auto ofBinder = [&](const Link& each) { return each.binder == binder; };
    while (const auto link = lockAndTakeLink(ofBinder)) {
        unlinked(link->recipient->onUnlinked, link->cookie);
    }
}

binder_status_t addDeathLink(AIBinder* binder, AIBinder_DeathRecipient* recipient, void* cookie) {
    const std::lock_guard<std::mutex> lock(links().mutex);
    if (!binder->isAlive()) return STATUS_DEAD_OBJECT;
    links().all.push_back({binder, recipient, cookie});
    return STATUS_OK;
}

}  // namespace standin

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(AIBinder_DeathRecipient_onBinderDied onDied) {
    return onDied == nullptr ? nullptr : new AIBinder_DeathRecipient{onDied};
}

void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked) {
    recipient->onUnlinked = onUnlinked;
}

void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient) {
    if (recipient == nullptr) return;
    const auto ofRecipient = [&](const standin::Link& each) { return each.recipient == recipient; };
    while (const auto link = standin::lockAndTakeLink(ofRecipient)) {
        standin::unlinked(recipient->onUnlinked, link->cookie);
    }
    const std::lock_guard<std::mutex> lock(standin::links().mutex);
    if (standin::tRunning == recipient) {
        standin::tRunning = nullptr;
        --recipient->running;
    }
    while (recipient->running != 0) standin::links().ranOne.wait(standin::links().mutex);
    delete recipient;
}

binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie) {
    if (binder == nullptr || recipient == nullptr) return STATUS_UNEXPECTED_NULL;
    const auto link = standin::lockAndTakeLink([&](const standin::Link& each) {
        return each.binder == binder && each.recipient == recipient && each.cookie == cookie;
    });
    if (!link) return STATUS_NAME_NOT_FOUND;
    standin::unlinked(recipient->onUnlinked, cookie);
    return STATUS_OK;
}
