#pragma once

#include <QString>

#include <optional>

// What is accepted as a token: a bare token, a "Bearer ..." header line, or a connection
// URL whose last path component is the token.
namespace TokenParsing {
std::optional<QString> extract(const QString& text);
}
