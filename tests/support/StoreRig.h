#pragma once

// Header-only rigs for tests that drive a Store; those tests link VelmoraKit.
#include "Await.h"
#include "ServerProcess.h"
#include "Store.h"
#include "WireFormats.h"

#include <QTemporaryDir>
#include <QUrl>

#include <optional>
#include <stdexcept>

// A Store of its own over `server`, its offline copy and keychain in a temporary folder.
struct StoreRig {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    Store store;

    StoreRig(const QUrl& server, const std::optional<QString>& token, int timeoutMs = 0)
        : store(new APIClient(server, token), OfflineDisk(dir.path()),
                Keychain(secrets, QStringLiteral("svc"))) {
        if (timeoutMs > 0)
            store.client().setTimeoutMs(timeoutMs);
    }

    bool add(const QString& title, Section section = Section::action,
             const std::optional<QString>& who = std::nullopt) {
        return TestAwait::await(
            store.add(title, {}, who, section, {}, Priority::medium, {}, LocalID::make()));
    }
    // The first item with that title; throws when there is none.
    const Item& item(const QString& title) const {
        for (const Item& item : store.document().items)
            if (item.title == title)
                return item;
        throw std::runtime_error("no item " + title.toStdString());
    }
    bool has(const QString& title) const { return titles().contains(title); }
    QStringList titles() const {
        QStringList out;
        for (const Item& item : store.document().items)
            out << item.title;
        return out;
    }
    // Edits queued in the snapshot file; -1 without a file.
    int queuedOnDisk() const {
        const auto snapshot = store.disk().load();
        return snapshot ? int(snapshot->queue.size()) : -1;
    }
};

// A fresh account on a shared velmora-server, signed in and (unless told) loaded once.
struct AccountRig : StoreRig {
    ServerProcess& server;
    QString user;

    explicit AccountRig(ServerProcess& s, bool load = true, int timeoutMs = 1500,
                        const QString& name = nextName())
        : StoreRig(s.baseURL(), s.createUser(name), timeoutMs)
        , server(s)
        , user(name) {
        if (load)
            TestAwait::await(store.refresh(false));
    }

    static QString nextName() {
        static int count = 0;
        return QStringLiteral("user%1").arg(++count);
    }
    QString token() { return store.client().token(); }
    // Titles of the live items on the server.
    QStringList serverTitles() {
        QStringList titles;
        for (const auto& item : server.document(user).document.items)
            if (!item.deletedAt)
                titles << item.title;
        return titles;
    }
    WireItem stored(const QString& id) {
        for (const WireItem& item : server.document(user).document.items)
            if (item.id == id)
                return item;
        throw std::runtime_error("not on the server");
    }
    // Another device adds an item; the Store hears of it on its next refresh or sync.
    void otherDeviceAdds(const QString& title) {
        auto stored = server.document(user).document;
        WireItem item;
        item.id = QStringLiteral("other-") + title;
        item.title = title;
        item.createdAt = QStringLiteral("2026-01-01T00:00:00Z");
        stored.items.push_back(item);
        server.replaceDocument(user, stored);
    }
};
