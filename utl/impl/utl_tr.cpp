#include "utl_tr.h"

#include "utl_trCatalog.h"
#include "utl_trLocale.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

using vlt::detail::trCatalog;
using vlt::detail::trKey;

// A domain's dictionaries in search order. Loaded domains form a list that only grows until
// the release, so that readers walk it without the lock.
struct Domain {
    std::string name;
    std::vector<std::unique_ptr<trCatalog>> catalogs;
    Domain* next = nullptr;
};

std::mutex loading;
std::atomic<Domain*> loadedDomains{nullptr};
// The default domain once resolved; null until the first translation after a change.
std::atomic<Domain*> defaultDomain{nullptr};
std::string defaultName; // under `loading`
// What the default domain resolves to while none is set: a domain without dictionaries.
Domain noDomain;

Domain* FindLoaded(const char* name) {
    for (Domain* domain = loadedDomains.load(std::memory_order_acquire); domain != nullptr;
         domain = domain->next) {
        if (domain->name == name) {
            return domain;
        }
    }
    return nullptr;
}

std::vector<std::unique_ptr<trCatalog>> LoadCatalogs(const std::string& domain) {
    std::vector<std::unique_ptr<trCatalog>> catalogs;
    const char* directory = std::getenv(vlt::detail::trDirectoryVariable);
    if (directory == nullptr || *directory == '\0') {
        return catalogs;
    }
    for (const std::string& locale : vlt::detail::trLocaleSearchList()) {
        const std::string path =
            std::string(directory) + "/" + locale + "/LC_MESSAGES/" + domain + ".mo";
        if (std::unique_ptr<trCatalog> catalog = trCatalog::Load(path)) {
            catalogs.push_back(std::move(catalog));
        }
    }
    return catalogs;
}

// Under `loading`.
Domain* FindOrLoad(const char* name) {
    if (Domain* domain = FindLoaded(name)) {
        return domain;
    }
    auto domain = std::make_unique<Domain>();
    domain->name = name;
    domain->catalogs = LoadCatalogs(domain->name);
    domain->next = loadedDomains.load(std::memory_order_relaxed);
    loadedDomains.store(domain.get(), std::memory_order_release);
    return domain.release();
}

Domain& NamedDomain(const char* name) {
    if (Domain* domain = FindLoaded(name)) {
        return *domain;
    }
    const std::lock_guard<std::mutex> lock(loading);
    return *FindOrLoad(name);
}

Domain& DefaultDomain() {
    if (Domain* domain = defaultDomain.load(std::memory_order_acquire)) {
        return *domain;
    }
    const std::lock_guard<std::mutex> lock(loading);
    Domain* domain = defaultName.empty() ? &noDomain : FindOrLoad(defaultName.c_str());
    defaultDomain.store(domain, std::memory_order_release);
    return *domain;
}

// The first dictionary that knows the message answers; its own plural rule picks the form.
const char* Translate(const Domain& domain, const utl_trMessage& message) {
    if (message.text == nullptr || (message.text[0] == '\0' && message.context == nullptr)) {
        return message.text; // the empty key is each dictionary's header, not a message
    }
    const bool plural = message.plural != nullptr;
    const char* const untranslated = plural && message.n != 1 ? message.plural : message.text;
    if (domain.catalogs.empty()) {
        return untranslated;
    }
    const trKey key(message.context, message.text);
    for (const std::unique_ptr<trCatalog>& catalog : domain.catalogs) {
        const char* found = plural ? catalog->FindPlural(key, message.n) : catalog->Find(key);
        if (found != nullptr) {
            return found;
        }
    }
    return untranslated;
}

} // namespace

void utl_trSetDomain(const char* domain) {
    const std::lock_guard<std::mutex> lock(loading);
    defaultName = domain != nullptr ? domain : "";
    defaultDomain.store(nullptr, std::memory_order_release);
}

const char* utl_tr(const char* text) {
    return Translate(DefaultDomain(), {.text = text});
}

const char* utl_trPlural(const char* singular, const char* plural, unsigned long n) {
    return Translate(DefaultDomain(), {.text = singular, .plural = plural, .n = n});
}

const char* utl_trContext(const char* context, const char* text) {
    return Translate(DefaultDomain(), {.context = context, .text = text});
}

const char* utl_trDomain(const char* domain, const utl_trMessage& message) {
    return Translate(domain != nullptr ? NamedDomain(domain) : DefaultDomain(), message);
}

void utl_trReleaseDB() {
    const std::lock_guard<std::mutex> lock(loading);
    defaultDomain.store(nullptr, std::memory_order_release);
    Domain* domain = loadedDomains.exchange(nullptr, std::memory_order_acq_rel);
    while (domain != nullptr) {
        const std::unique_ptr<Domain> owned(domain);
        domain = domain->next;
    }
}
