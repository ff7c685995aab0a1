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

// A load's whole reply, `{"result": document, "version": n}`, held as blocks of items so
// that a coding can treat each block alone: an edit then recodes one block, not the list.
// Immutable once written, but for the joined text, made on first use; safe to share.
class DocumentBody {
public:
    struct Block {
        // Names the block's bytes: equal signatures, equal bytes. Each item's JSON enters
        // by a stamp given once per text, so a signature costs far less than its bytes.
        QByteArray signature;
        QByteArray bytes;
    };

    qint64 version = 0;
    // Shared with the versions before and after it where nothing in them changed.
    std::vector<std::shared_ptr<const Block>> blocks;
    qsizetype size = 0;
    // The whole reply, joined.
    QByteArray json() const;

private:
    mutable std::once_flag m_joined;
    mutable QByteArray m_json;
};

// Writes one user's load replies. Each item's JSON is kept from the last reply and used
// again, so a new version costs the items that changed. Which changed it is told by the
// one route that changes items in place (`changed`); after any other change (`unknown`, the
// state as first written) it compares every item with the one its JSON was written from.
// Not thread-safe (the Service's lock).
class DocumentWriter {
public:
    // The reply for `state` at its version: the last one again if the version is the same.
    std::shared_ptr<const DocumentBody> write(const UserState& state);
    // Since the last reply, the item at `position` changed or was appended, and no other
    // item changed unless named by another call.
    void changed(qsizetype position) { m_changed.push_back(position); }
    // Since the last reply, the items may have changed in any way.
    void unknown() { m_told = false; }

private:
    struct Fragment {
        WireItem item;
        QByteArray json;
        quint64 stamp = 0;
        bool endsBlock = false;
    };
    struct Pending;
    void endBlock(DocumentBody& body, Pending& pending);

    std::shared_ptr<const DocumentBody> m_last;
    // By position in the last reply: each item as written, and its JSON.
    std::vector<Fragment> m_fragments;
    bool m_told = false;
    std::vector<qsizetype> m_changed;
    // The last reply's blocks, and the current one's as it is written.
    QHash<QByteArray, std::shared_ptr<const DocumentBody::Block>> m_blocks, m_nextBlocks;
};

// Deflated blocks by their signatures, shared by every user (a signature names bytes, and
// equal bytes deflate to equal bytes, so nothing of one user's can reach another's reply).
// Bounded in bytes, the least recently used first out. Safe to call from any thread.
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
    static std::optional<Block> deflate(const QByteArray& raw, int level);
    void keep(const QByteArray& signature, Block block);

    mutable std::mutex m_mutex;
    std::size_t m_maxBytes;
    std::size_t m_bytes = 0;
    QHash<QByteArray, Block> m_blocks;
    std::list<QByteArray> m_uses; // most recently used first
};
