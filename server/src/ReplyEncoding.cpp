#include "ReplyEncoding.h"

#include <brotli/encode.h>
#include <zlib.h>

namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

bool equalsLower(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
        if (c != lower[i])
            return false;
    }
    return true;
}

// The weight of one `coding;q=value` element: 1 without a q, 0 for a q that reads as 0 or
// not at all (a refusal is the safe reading of a garbled weight).
bool weighted(std::string_view params) {
    while (!params.empty()) {
        const auto semicolon = params.find(';');
        const std::string_view param = trimmed(params.substr(0, semicolon));
        params =
            semicolon == std::string_view::npos ? std::string_view() : params.substr(semicolon + 1);
        if (param.size() < 2 || (param[0] != 'q' && param[0] != 'Q') || param[1] != '=')
            continue;
        const std::string_view value = trimmed(param.substr(2));
        for (const char c : value)
            if ((c < '0' || c > '9') && c != '.')
                return false;
        return value.find_first_of("123456789") != std::string_view::npos;
    }
    return true;
}

std::optional<QByteArray> brotli(const QByteArray& data, int quality) {
    std::size_t size = BrotliEncoderMaxCompressedSize(std::size_t(data.size()));
    if (size == 0)
        return std::nullopt;
    QByteArray out(qsizetype(size), Qt::Uninitialized);
    if (!BrotliEncoderCompress(quality, BROTLI_DEFAULT_WINDOW, BROTLI_MODE_TEXT,
                               std::size_t(data.size()),
                               reinterpret_cast<const uint8_t*>(data.constData()), &size,
                               reinterpret_cast<uint8_t*>(out.data())))
        return std::nullopt;
    out.truncate(qsizetype(size));
    return out;
}

std::optional<QByteArray> gzip(const QByteArray& data, int level) {
    z_stream stream{};
    // 15 window bits, +16 for the gzip wrapper rather than zlib's.
    if (deflateInit2(&stream, level, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    QByteArray out(qsizetype(deflateBound(&stream, uLong(data.size()))), Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.constData()));
    stream.avail_in = uInt(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = uInt(out.size());
    const int status = deflate(&stream, Z_FINISH);
    const auto written = qsizetype(stream.total_out);
    deflateEnd(&stream);
    if (status != Z_STREAM_END)
        return std::nullopt;
    out.truncate(written);
    return out;
}

} // namespace

namespace ReplyEncoding {

ContentCoding choose(std::string_view acceptEncoding) {
    std::optional<bool> brNamed, gzipNamed, any;
    while (!acceptEncoding.empty()) {
        const auto comma = acceptEncoding.find(',');
        const std::string_view element = acceptEncoding.substr(0, comma);
        acceptEncoding =
            comma == std::string_view::npos ? std::string_view() : acceptEncoding.substr(comma + 1);
        const auto semicolon = element.find(';');
        const std::string_view coding = trimmed(element.substr(0, semicolon));
        const bool accepted =
            semicolon == std::string_view::npos || weighted(element.substr(semicolon + 1));
        if (equalsLower(coding, "br"))
            brNamed = accepted;
        else if (equalsLower(coding, "gzip") || equalsLower(coding, "x-gzip"))
            gzipNamed = gzipNamed.value_or(false) || accepted;
        else if (coding == "*")
            any = accepted;
    }
    if (gzipNamed.value_or(any.value_or(false)))
        return ContentCoding::gzip;
    if (brNamed.value_or(any.value_or(false)))
        return ContentCoding::br;
    return ContentCoding::identity;
}

const char* name(ContentCoding coding) {
    switch (coding) {
    case ContentCoding::br:
        return "br";
    case ContentCoding::gzip:
        return "gzip";
    case ContentCoding::identity:
        break;
    }
    return "";
}

std::optional<QByteArray> encode(const QByteArray& data, ContentCoding coding, int level) {
    // Both encoders take sizes in 32 bits at most here; a document is far below that.
    if (data.size() > (qsizetype(1) << 30))
        return std::nullopt;
    switch (coding) {
    case ContentCoding::br:
        return brotli(data, level);
    case ContentCoding::gzip:
        return gzip(data, level);
    case ContentCoding::identity:
        break;
    }
    return data;
}

std::optional<QByteArray> encode(const QByteArray& data, ContentCoding coding) {
    return encode(data, coding, coding == ContentCoding::br ? brotliQuality : gzipLevel);
}

} // namespace ReplyEncoding

ReplyCache::ReplyCache(std::size_t maxBytes)
    : m_maxBytes(maxBytes) {}

std::optional<QByteArray> ReplyCache::find(qint64 user, qint64 version, ContentCoding coding) {
    std::lock_guard lock(m_mutex);
    const auto found = m_index.find(Key{user, coding});
    if (found == m_index.end() || found->second->version != version)
        return std::nullopt;
    m_entries.splice(m_entries.begin(), m_entries, found->second);
    return found->second->body;
}

void ReplyCache::insert(qint64 user, qint64 version, ContentCoding coding, const QByteArray& body) {
    const auto size = std::size_t(body.size());
    std::lock_guard lock(m_mutex);
    const Key key{user, coding};
    if (const auto found = m_index.find(key); found != m_index.end()) {
        // A slow encoder of an older version must not replace a newer one.
        if (found->second->version > version)
            return;
        dropLocked(found->second);
    }
    if (size > m_maxBytes)
        return;
    while (m_bytes + size > m_maxBytes && !m_entries.empty())
        dropLocked(std::prev(m_entries.end()));
    m_entries.push_front(Entry{key, version, body});
    m_index[key] = m_entries.begin();
    m_bytes += size;
}

void ReplyCache::forgetUser(qint64 user) {
    std::lock_guard lock(m_mutex);
    for (auto it = m_index.lower_bound(Key{user, ContentCoding{}});
         it != m_index.end() && it->first.first == user;) {
        const auto entry = it->second;
        ++it;
        dropLocked(entry);
    }
}

std::size_t ReplyCache::bytes() const {
    std::lock_guard lock(m_mutex);
    return m_bytes;
}

void ReplyCache::dropLocked(std::list<Entry>::iterator it) {
    m_bytes -= std::size_t(it->body.size());
    m_index.erase(it->key);
    m_entries.erase(it);
}
