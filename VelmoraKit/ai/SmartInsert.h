#pragma once

#include "AIRecords.h"

#include <QByteArray>
#include <QCoroTask>
#include <QDateTime>
#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <variant>

namespace SmartInsert {

// No more than this many characters go to the server.
inline constexpr qsizetype maxInputChars = 1000;

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
