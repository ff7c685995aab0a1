#pragma once

#include "UserState.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// A load's whole reply, `{"result": document, "version": n}`, cut into blocks of items so
// that a coding can treat each block alone: an edit then recodes one block, not the list.
struct DocumentBody {
    qint64 version = 0;
    QByteArray json;
    // Where each block ends in `json`, ascending; the last is json.size().
    std::vector<qsizetype> cuts;
};

// Writes one user's load replies. Each item's JSON is kept from the last reply and used
// again while the item is equal to the one it was written from, so a new version costs the
// items that changed plus a copy. Correct whatever route changed the state: reuse rests on
// comparing items, never on being told what changed. Not thread-safe (the Service's lock).
class DocumentWriter {
public:
    // The reply for `state` at its version: the last one again if the version is the same.
    std::shared_ptr<const DocumentBody> write(const UserState& state);
    // Bytes held, for the cache's bound: the reply, and the items' JSON beside it.
    std::size_t bytes() const { return m_last ? std::size_t(m_last->json.size()) * 2 : 0; }

private:
    struct Fragment {
        WireItem item;
        QByteArray json;
    };
    std::shared_ptr<const DocumentBody> m_last;
    // By item id: the item as last written, and its JSON.
    QHash<QString, Fragment> m_fragments;
};

// Deflated blocks by their content, shared by every user (equal bytes deflate to equal
// bytes, so nothing of one user's can reach another's reply). Bounded in bytes, the least
// recently used first out. Safe to call from any thread.
class DeflatedBlocks {
public:
    explicit DeflatedBlocks(std::size_t maxBytes);

    // The body as one gzip member: each block deflated alone and flushed to a byte
    // boundary, so the blocks join as they are; the CRC is combined from theirs. Null when
    // the encoder fails.
    std::optional<QByteArray> gzip(const DocumentBody& body, int level);
    std::size_t bytes() const;

private:
    struct Block {
        QByteArray deflated;
        unsigned long crc = 0;
        std::list<QByteArray>::iterator use;
    };
    std::optional<Block> deflate(const QByteArray& raw, int level);
    void keep(const QByteArray& raw, Block block);

    mutable std::mutex m_mutex;
    std::size_t m_maxBytes;
    std::size_t m_bytes = 0;
    QHash<QByteArray, Block> m_blocks;
    std::list<QByteArray> m_uses; // most recently used first
};
