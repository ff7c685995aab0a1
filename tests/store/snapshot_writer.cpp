// Saves one deterministic snapshot and exits: the process the crash test kills at chosen
// system calls. Usage: velmora_snapshot_writer FOLDER GENERATION ITEMS EDITS
#include "SnapshotSamples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s FOLDER GENERATION ITEMS EDITS\n", argv[0]);
        return 2;
    }
    const auto number = [](const char* text) { return std::max(0, std::atoi(text)); };
    const OfflineSnapshot snapshot =
        SnapshotSamples::make(number(argv[2]), number(argv[3]), number(argv[4]));
    OfflineDisk(QString::fromLocal8Bit(argv[1])).save(snapshot);
    return 0;
}
