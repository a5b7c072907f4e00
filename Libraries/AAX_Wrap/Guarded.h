#pragma once

#include "AAX_Result.h"

#include <new>
#include <type_traits>

namespace sorvane::aax {

/// Makes one call that may throw, the effect's own or one of a host's object, and answers its result: nothing that is
/// thrown passes. A call without a result succeeds when it returns.
template <typename Call>
Result guarded(Call call) noexcept
{
    try {
        if constexpr (std::is_void_v<decltype(call())>) {
            call();
            return AAX_SUCCESS;
        } else {
            return call();
        }
    } catch (const ResultError& error) {
        return error.result();
    } catch (const std::bad_alloc&) {
        return AAX_ERROR_OUT_OF_MEMORY;
    } catch (...) {
        return AAX_ERROR_UNKNOWN_EXCEPTION;
    }
}

} // namespace sorvane::aax
