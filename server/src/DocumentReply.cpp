#include "DocumentReply.h"

#include "WireJson.h"

#include <zlib.h>

namespace {

// A block ends after an item whose id says so, once it holds this much; blocks stay near
// 50 KB: small enough that an edit recodes little, large enough to deflate well.
constexpr qsizetype blockFloor = 16 * 1024;
// ... and always at this size, whatever the ids.
constexpr qsizetype blockCeiling = 128 * 1024;

// Ends chosen by the items' ids rather than their positions: adding or removing an item
// moves no other block's ends, so the other blocks keep their bytes and their coding.
bool endsBlock(const QString& id) {
    quint32 hash = 2166136261u; // FNV-1a: the same on every run, unlike qHash's seed
    for (const QChar c : id) {
        hash ^= c.unicode();
        hash *= 16777619u;
    }
    return (hash & 63u) == 0;
}

void cut(DocumentBody& body) {
    const qsizetype end = body.json.size();
    if (body.cuts.empty() ? end > 0 : end > body.cuts.back())
        body.cuts.push_back(end);
}

} // namespace

std::shared_ptr<const DocumentBody> DocumentWriter::write(const UserState& state) {
    if (m_last && m_last->version == state.version)
        return m_last;
    const QList<WireItem>& items = state.document.items;
    WireDocument shell = state.document;
    shell.items = {};
    const QByteArray shellJson = WireJson::encode(shell);
    // The items are the document's second key, after the schema version: what comes before
    // `"items":[]` is `{"schema_version":n,` and nothing a user wrote.
    static const QByteArray slot = QByteArrayLiteral("\"items\":[]");
    const qsizetype at = shellJson.indexOf(slot);
    if (at < 0)
        throw std::runtime_error("the document's JSON has no item list");
    const qsizetype split = at + slot.size() - 1;

    auto body = std::make_shared<DocumentBody>();
    body->version = state.version;
    QByteArray& json = body->json;
    json.reserve((m_last ? m_last->json.size() : items.size() * 512) + shellJson.size() + 64);
    json += "{\"result\":";
    json.append(shellJson.constData(), split);
    cut(*body);

    qsizetype blockStart = json.size();
    for (qsizetype i = 0; i < items.size(); ++i) {
        const WireItem& item = items[i];
        if (i)
            json += ',';
        auto found = m_fragments.find(item.id);
        if (found == m_fragments.end() || !(found->item == item))
            found = m_fragments.insert(item.id, Fragment{item, WireJson::encode(item)});
        json += found->json;
        const qsizetype size = json.size() - blockStart;
        if ((size >= blockFloor && endsBlock(item.id)) || size >= blockCeiling) {
            cut(*body);
            blockStart = json.size();
        }
    }
    cut(*body);
    json.append(shellJson.constData() + split, shellJson.size() - split);
    json += ",\"version\":" + QByteArray::number(state.version) + '}';
    cut(*body);

    // Fragments of items that are gone go once they outnumber the ones still there.
    if (m_fragments.size() > 2 * items.size() + 64) {
        QHash<QString, Fragment> kept;
        kept.reserve(items.size());
        for (const WireItem& item : items)
            if (const auto it = m_fragments.constFind(item.id); it != m_fragments.constEnd())
                kept.insert(item.id, *it);
        m_fragments = std::move(kept);
    }
    m_last = std::move(body);
    return m_last;
}

DeflatedBlocks::DeflatedBlocks(std::size_t maxBytes)
    : m_maxBytes(maxBytes) {}

std::size_t DeflatedBlocks::bytes() const {
    std::lock_guard lock(m_mutex);
    return m_bytes;
}

std::optional<DeflatedBlocks::Block> DeflatedBlocks::deflate(const QByteArray& raw, int level) {
    z_stream stream{};
    // Raw deflate (negative window bits): the gzip wrapper is written once around all blocks.
    if (deflateInit2(&stream, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    Block block;
    block.deflated.resize(qsizetype(deflateBound(&stream, uLong(raw.size()))) + 64);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(raw.constData()));
    stream.avail_in = uInt(raw.size());
    stream.next_out = reinterpret_cast<Bytef*>(block.deflated.data());
    stream.avail_out = uInt(block.deflated.size());
    // A full flush ends on a byte boundary with nothing left pending, and the block is
    // never the last: the member's final block is written after all of them.
    const int status = ::deflate(&stream, Z_FULL_FLUSH);
    const bool whole = status == Z_OK && stream.avail_in == 0 && stream.avail_out > 0;
    block.deflated.truncate(qsizetype(stream.total_out));
    deflateEnd(&stream);
    if (!whole)
        return std::nullopt;
    block.crc = crc32(crc32(0, nullptr, 0), reinterpret_cast<const Bytef*>(raw.constData()),
                      uInt(raw.size()));
    return block;
}

void DeflatedBlocks::keep(const QByteArray& raw, Block block) {
    const std::size_t size = std::size_t(raw.size() + block.deflated.size());
    if (size > m_maxBytes || m_blocks.contains(raw))
        return;
    while (m_bytes + size > m_maxBytes && !m_uses.empty()) {
        const auto gone = m_blocks.constFind(m_uses.back());
        m_bytes -= std::size_t(gone.key().size() + gone->deflated.size());
        m_blocks.erase(gone);
        m_uses.pop_back();
    }
    m_uses.push_front(raw);
    block.use = m_uses.begin();
    m_blocks.insert(raw, std::move(block));
    m_bytes += size;
}

std::optional<QByteArray> DeflatedBlocks::gzip(const DocumentBody& body, int level) {
    // Both sizes zlib takes are 32 bits wide; a document is far below that.
    if (body.json.size() > (qsizetype(1) << 30))
        return std::nullopt;
    // Magic, deflate, no flags, no time, no extra flags, OS unknown.
    static const char header[] = {'\x1f', '\x8b', '\x08', 0, 0, 0, 0, 0, 0, '\xff'};
    QByteArray out(header, sizeof header);
    out.reserve(body.json.size() / 4 + 64);
    uLong crc = crc32(0, nullptr, 0);
    qsizetype from = 0;
    for (const qsizetype to : body.cuts) {
        const qsizetype length = to - from;
        const auto raw = QByteArray::fromRawData(body.json.constData() + from, length);
        from = to;
        std::optional<Block> block;
        {
            std::lock_guard lock(m_mutex);
            if (const auto it = m_blocks.find(raw); it != m_blocks.end()) {
                m_uses.splice(m_uses.begin(), m_uses, it->use);
                block = *it;
            }
        }
        if (!block) {
            block = deflate(raw, level);
            if (!block)
                return std::nullopt;
            std::lock_guard lock(m_mutex);
            // The key must own its bytes: the body it came from may go first.
            keep(QByteArray(raw.constData(), raw.size()), *block);
        }
        out += block->deflated;
        crc = crc32_combine(crc, block->crc, z_off_t(length));
    }
    // The final block: fixed Huffman codes and nothing but its end.
    out += QByteArray("\x03\x00", 2);
    const auto size = quint32(body.json.size());
    for (const quint32 word : {quint32(crc), size})
        for (int shift = 0; shift < 32; shift += 8)
            out += char((word >> shift) & 0xff);
    return out;
}
