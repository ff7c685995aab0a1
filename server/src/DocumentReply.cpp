#include "DocumentReply.h"

#include "WireJson.h"

#include <zlib.h>

#include <algorithm>
#include <atomic>

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

// Stamps name item texts across all users: a signature must never match another text's.
std::atomic<quint64> nextStamp{1};

} // namespace

// A block as it is written: its signature, and the texts it joins, which stay put until
// the block ends (fragments are reserved up front, literals outlive the write).
struct DocumentWriter::Pending {
    QByteArray signature;
    std::vector<const QByteArray*> parts;
    qsizetype size = 0;

    void literal(const QByteArray& text) {
        signature += 'T' + QByteArray::number(text.size()) + ':' + text;
        add(text);
    }
    // The comma between two items: always the same text, so one letter names it.
    void comma() {
        static const QByteArray text = QByteArrayLiteral(",");
        signature += 'C';
        add(text);
    }
    void fragment(const QByteArray& json, quint64 stamp) {
        signature += 'F';
        signature.append(reinterpret_cast<const char*>(&stamp), sizeof stamp);
        add(json);
    }
    void add(const QByteArray& text) {
        parts.push_back(&text);
        size += text.size();
    }
};

void DocumentWriter::endBlock(DocumentBody& body, Pending& pending) {
    if (pending.parts.empty())
        return;
    auto block = m_blocks.value(pending.signature);
    if (!block) {
        auto made = std::make_shared<DocumentBody::Block>();
        made->signature = pending.signature;
        made->bytes.reserve(pending.size);
        for (const QByteArray* part : pending.parts)
            made->bytes += *part;
        block = std::move(made);
    }
    body.size += block->bytes.size();
    m_nextBlocks.insert(block->signature, block);
    body.blocks.push_back(std::move(block));
    pending = Pending{};
}

QByteArray DocumentBody::json() const {
    std::call_once(m_joined, [this] {
        QByteArray out;
        out.reserve(size);
        for (const auto& block : blocks)
            out += block->bytes;
        m_json = std::move(out);
    });
    return m_json;
}

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
    const QByteArray head = "{\"result\":" + shellJson.left(split);
    const QByteArray tail =
        shellJson.mid(split) + ",\"version\":" + QByteArray::number(state.version) + '}';

    auto body = std::make_shared<DocumentBody>();
    body->version = state.version;
    m_nextBlocks.clear();
    Pending pending;
    pending.literal(head);
    endBlock(*body, pending);

    const auto fresh = [](const WireItem& item) {
        return Fragment{item, WireJson::encode(item), nextStamp++, endsBlock(item.id)};
    };
    const bool told = m_told && std::size_t(items.size()) >= m_fragments.size() &&
                      std::all_of(m_changed.begin(), m_changed.end(),
                                  [&](qsizetype at) { return at < items.size(); });
    if (told) {
        // Only the items named since the last reply changed, and the list only grew.
        for (const qsizetype at : m_changed)
            if (std::size_t(at) < m_fragments.size())
                m_fragments[std::size_t(at)] = fresh(items[at]);
        for (auto at = qsizetype(m_fragments.size()); at < items.size(); ++at)
            m_fragments.push_back(fresh(items[at]));
    } else {
        // Each item's JSON from the last reply, looked for at its old position first,
        // then by its id when items were added or removed before it.
        std::vector<Fragment> last = std::move(m_fragments);
        m_fragments.clear();
        m_fragments.reserve(std::size_t(items.size()));
        QHash<QString, std::size_t> byId;
        for (qsizetype i = 0; i < items.size(); ++i) {
            const WireItem& item = items[i];
            Fragment* match = nullptr;
            if (std::size_t(i) < last.size() && last[std::size_t(i)].item.id == item.id) {
                match = &last[std::size_t(i)];
            } else {
                if (byId.isEmpty())
                    for (std::size_t old = 0; old < last.size(); ++old)
                        byId.insert(last[old].item.id, old);
                if (const auto it = byId.constFind(item.id); it != byId.constEnd())
                    match = &last[*it];
            }
            if (match && match->item == item)
                m_fragments.push_back(std::move(*match));
            else
                m_fragments.push_back(fresh(item));
        }
    }
    m_told = true;
    m_changed.clear();
    for (std::size_t i = 0; i < m_fragments.size(); ++i) {
        const Fragment& fragment = m_fragments[i];
        if (i)
            pending.comma();
        pending.fragment(fragment.json, fragment.stamp);
        if ((pending.size >= blockFloor && fragment.endsBlock) || pending.size >= blockCeiling)
            endBlock(*body, pending);
    }
    endBlock(*body, pending);
    pending.literal(tail);
    endBlock(*body, pending);
    m_blocks.swap(m_nextBlocks);
    m_nextBlocks.clear();
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

void DeflatedBlocks::keep(const QByteArray& signature, Block block) {
    const std::size_t size = std::size_t(signature.size() + block.deflated.size());
    if (size > m_maxBytes || m_blocks.contains(signature))
        return;
    while (m_bytes + size > m_maxBytes && !m_uses.empty()) {
        const auto gone = m_blocks.constFind(m_uses.back());
        m_bytes -= std::size_t(gone.key().size() + gone->deflated.size());
        m_blocks.erase(gone);
        m_uses.pop_back();
    }
    m_uses.push_front(signature);
    block.use = m_uses.begin();
    m_blocks.insert(signature, std::move(block));
    m_bytes += size;
}

std::optional<QByteArray> DeflatedBlocks::gzip(const DocumentBody& body, int level) {
    // Both sizes zlib takes are 32 bits wide; a document is far below that.
    if (body.size > (qsizetype(1) << 30))
        return std::nullopt;
    // Magic, deflate, no flags, no time, no extra flags, OS unknown.
    static const char header[] = {'\x1f', '\x8b', '\x08', 0, 0, 0, 0, 0, 0, '\xff'};
    QByteArray out(header, sizeof header);
    out.reserve(body.size / 4 + 64);
    uLong crc = crc32(0, nullptr, 0);
    for (const auto& raw : body.blocks) {
        std::optional<Block> block;
        {
            std::lock_guard lock(m_mutex);
            if (const auto it = m_blocks.find(raw->signature); it != m_blocks.end()) {
                m_uses.splice(m_uses.begin(), m_uses, it->use);
                block = *it;
            }
        }
        if (!block) {
            block = deflate(raw->bytes, level);
            if (!block)
                return std::nullopt;
            std::lock_guard lock(m_mutex);
            keep(raw->signature, *block);
        }
        out += block->deflated;
        crc = crc32_combine(crc, block->crc, z_off_t(raw->bytes.size()));
    }
    // The final block: fixed Huffman codes and nothing but its end.
    out += QByteArray("\x03\x00", 2);
    const auto size = quint32(body.size);
    for (const quint32 word : {quint32(crc), size})
        for (int shift = 0; shift < 32; shift += 8)
            out += char((word >> shift) & 0xff);
    return out;
}
