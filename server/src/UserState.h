#pragma once

#include "Json.h"
#include "Wire.h"

#include <optional>

// Everything the server keeps for one user: the document, the pending proposal (at most
// one) and the version that every change moves on.
struct UserState {
    WireDocument document;
    std::optional<JsonValue> proposal;
    qint64 version = 1;
    std::optional<qint64> openCap; // open tasks allowed; none means no cap
};
