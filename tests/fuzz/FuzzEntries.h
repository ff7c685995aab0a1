#pragma once

#include <QByteArrayView>

#include <span>
#include <string_view>

// What the fuzz targets feed their input to, shared by the libFuzzer binary (velmora-fuzz,
// clang only) and the corpus replay that every test run does. Each entry reads the input
// as the client or the server would, and aborts when an invariant breaks: what is read
// writes back as JSON that reads the same, and the server keeps only what the client
// can load.
namespace FuzzEntries {

using Entry = void (*)(QByteArrayView input);

struct Target {
    std::string_view name; // also the folder of its corpus
    Entry run;
};

std::span<const Target> targets();
// Null when no target has that name.
Entry find(std::string_view name);

} // namespace FuzzEntries
