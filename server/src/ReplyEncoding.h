#pragma once

#include <QByteArray>

#include <cstddef>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

// The content codings this server writes itself, for replies large enough to be worth it.
enum class ContentCoding { identity, gzip, br };

namespace ReplyEncoding {

// The fastest level of each, chosen by measurement (bench/README.md, "Full-document
// replies"): every higher level costs several times the CPU for a few percent less size.
inline constexpr int brotliQuality = 1;
inline constexpr int gzipLevel = 1;

// The coding to answer with: gzip if the client accepts it, else Brotli, else identity.
// gzip first though Brotli 1 is a little smaller: a gzip member can be joined from blocks
// deflated apart, so a new version of a large list deflates only what changed
// (DocumentReply.h), where Brotli codes the whole list again.
// Reads `coding;q=value` lists as HTTP does: q=0 refuses, `*` stands for any other coding.
ContentCoding choose(std::string_view acceptEncoding);
// The header value: "br", "gzip", or empty for identity.
const char* name(ContentCoding coding);
// `data` in `coding`; null when the encoder fails (the caller then sends it as is).
std::optional<QByteArray> encode(const QByteArray& data, ContentCoding coding);
std::optional<QByteArray> encode(const QByteArray& data, ContentCoding coding, int level);

} // namespace ReplyEncoding

// Encoded full-document replies per user, document version and coding, so that loading an
// unchanged document again costs a copy. A load always answers with the current version, so
// a newer version replaces the older one of the same user and coding. Bounded in bytes: the
// least recently used entries go first. Safe to call from any thread.
class ReplyCache {
public:
    explicit ReplyCache(std::size_t maxBytes);

    std::optional<QByteArray> find(qint64 user, qint64 version, ContentCoding coding);
    void insert(qint64 user, qint64 version, ContentCoding coding, const QByteArray& body);
    // Drops every entry of a user whose rows are gone: a later user given the same id may
    // reach the same version with another document.
    void forgetUser(qint64 user);
    std::size_t bytes() const;

private:
    using Key = std::pair<qint64, ContentCoding>;
    struct Entry {
        Key key;
        qint64 version = 0;
        QByteArray body;
    };

    void dropLocked(std::list<Entry>::iterator it);

    mutable std::mutex m_mutex;
    std::size_t m_maxBytes;
    std::size_t m_bytes = 0;
    std::list<Entry> m_entries; // most recently used first
    std::map<Key, std::list<Entry>::iterator> m_index;
};
