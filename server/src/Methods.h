#pragma once

#include "Json.h"
#include "UserState.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <stdexcept>

// A refusal of a remote call: the HTTP status and the text of `{"message": ...}`.
class RpcError : public std::runtime_error {
public:
    RpcError(int status, const QString& message)
        : std::runtime_error(message.toStdString())
        , m_status(status)
        , m_message(message) {}
    int status() const { return m_status; }
    const QString& message() const { return m_message; }

private:
    int m_status;
    QString m_message;
};

// What one account may hold. Each cap stands well above anything the desktop client sends
// (its one-line fields hold 32767 characters, its forms cut titles at 200, notes at 2000 and
// links at 3), so only a broken or hostile caller meets one. Lengths are characters as the
// reader sees them, counted as the client counts them.
namespace Caps {
inline constexpr int text = 32767;     // a title, note or who; a rule's reason or value
inline constexpr int linkLabel = 1000; // characters
inline constexpr int url = 4000;       // characters
inline constexpr int links = 20;       // per task
inline constexpr int items = 10000;    // per account, deleted ones included
inline constexpr int rules = 200;      // per account
inline constexpr int conditions = 20;  // per rule
inline constexpr int values = 50;      // per condition
} // namespace Caps

// The remote methods of `api/store`, as functions over one user's state. They do no I/O:
// the caller supplies the clock and the id source, persists the state and moves the version.
namespace Methods {

enum class Kind { read, write };

// Null for a method the server does not know.
std::optional<Kind> kind(const QString& method);

struct Context {
    QString now;                    // the instant of this call, wire format
    std::function<QString()> newId; // a fresh item or rule id
    // Where the item of that id sits, for a method about to change it; -1 when there is
    // none. Unset, the list is searched. A caller that keeps an index of ids, or keeps each
    // item as it was before the change, sets it: every change a method makes to an existing
    // item goes through here first.
    std::function<qsizetype(const WireDocument& document, const QString& id)> changeItem = {};
};

// Applies `method` to `state` and returns the JSON of the envelope's `result`. Throws
// RpcError; on a throw `state` may be half changed, so callers work on a copy.
QByteArray apply(UserState& state, const QString& method, const JsonValue::Array& args,
                 const Context& context);

// The focus list as stored: blanks collapsed, at most 60 characters a term, no duplicates
// by case, at most 10 terms.
QStringList normaliseFocus(const QStringList& terms);

// What every stored item must be beyond its JSON shape: a title that is not blank, a real
// due day, http or https links, and the caps. Throws RpcError 400 starting with `method`.
void validateItem(const WireItem& item, const QString& method);
// A rule's reason that is not blank, and the caps.
void validateRule(const WireRule& rule, const QString& method);

// Open items that are not soft-deleted: what the cap counts.
qint64 openCount(const WireDocument& document);

} // namespace Methods
