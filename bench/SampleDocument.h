#pragma once

#include "Wire.h"

// A deterministic wire document with `itemCount` tasks and every kind of record, with the
// mix of fields a heavy user has: notes on half, links on a third, due days, sources.
WireDocument sampleDocument(int itemCount);
