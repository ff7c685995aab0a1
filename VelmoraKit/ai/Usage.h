#pragma once

// The record and its flags are wire records, shared with the client.
#include "AIRecords.h"
