#pragma once

// Helpers shared by the Store's source files; not part of its interface.

#include "APIError.h"

#include <QString>

#include <exception>
#include <optional>

namespace StoreDetail {

std::optional<APIError> asAPIError(const std::exception_ptr& error);
QString describe(const std::exception_ptr& error);

} // namespace StoreDetail
