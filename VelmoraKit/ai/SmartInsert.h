#pragma once

#include "Enums.h"
#include "Records.h"

#include <QByteArray>
#include <QCoroTask>
#include <QDateTime>
#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <variant>

// The draft that fills the new-task form.
struct SmartDraft {
    QString title;
    std::optional<QString> details; // the note
    std::optional<QString> who;     // the source
    std::optional<QDateTime> due;   // local midnight of the due day
    Section section = Section::action;
    Priority priority = Priority::medium;
    QList<ItemLink> links;
    bool operator==(const SmartDraft&) const = default;
};

// Why the server drew nothing.
enum class SmartInsertRefusal { noAllowance, notConfigured, failed };

template <>
struct EnumWire<SmartInsertRefusal> {
    static constexpr auto names =
        std::to_array<std::string_view>({"no_allowance", "not_configured", "failed"});
    static constexpr std::string_view typeName = "SmartInsertRefusal";
};

struct SmartInsertDrafted {
    SmartDraft draft;
    bool truncated = false;
    qint64 used = 0;
    qint64 cap = 0;
    bool operator==(const SmartInsertDrafted&) const = default;
};

struct SmartInsertRefused {
    SmartInsertRefusal refusal = SmartInsertRefusal::failed;
    qint64 used = 0;
    qint64 cap = 0;
    bool operator==(const SmartInsertRefused&) const = default;
};

// What one call of the server's Smart Add gives.
using SmartInsertOutcome = std::variant<SmartInsertDrafted, SmartInsertRefused>;

namespace SmartInsert {

// No more than this many characters go to the server.
inline constexpr qsizetype maxInputChars = 1000;

// Reads the server's reply. A body that is not the expected JSON throws
// APIError::decoding; a reply without a draft is a refusal ("failed" unless it says why).
SmartInsertOutcome decode(const QByteArray& body);

} // namespace SmartInsert

// The paste flow behind the Smart Add command, apart from the clipboard and the window:
// the caller reads the clipboard, marks itself busy, and opens the form with the result.
namespace SmartAdd {

struct Result {
    SmartDraft draft;
    std::optional<QString> notice;
    bool operator==(const Result&) const = default;
};

using Call = std::function<QCoro::Task<SmartInsertOutcome>(QString)>;

QString emptyNotice();
QString longPasteNotice();
QString noAllowanceNotice(qint64 cap);
QString notRunNotice();
QString unreachableNotice();

// Reads the clipboard text, sends at most SmartInsert::maxInputChars of it through `call`
// and gives the draft for the form. The paste always survives: a refusal or a failure of
// the call gives the local reading of the whole text. Never throws.
QCoro::Task<Result> run(std::optional<QString> clipboard, Call call);

} // namespace SmartAdd
