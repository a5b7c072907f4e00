#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace sorvane::aax {

/// What every call across the host's boundary answers: AAX_SUCCESS or a reason.
using Result = std::int32_t;

enum ResultCode : Result {
    AAX_SUCCESS = 0,
    AAX_ERROR_NULL_OBJECT = -1,
    AAX_ERROR_NOT_INITIALIZED = -2,
    AAX_ERROR_UNIMPLEMENTED = -3,
    AAX_ERROR_INVALID_PARAMETER_ID = -4,
    AAX_ERROR_INVALID_CHUNK_ID = -5,
    AAX_ERROR_INVALID_CHUNK_INDEX = -6,
    AAX_ERROR_INCORRECT_CHUNK_SIZE = -7,
    AAX_ERROR_IN_USE = -8,        ///< instances live
    AAX_ERROR_INVALID_VALUE = -9, ///< no number
    AAX_ERROR_OUT_OF_MEMORY = -10,
    AAX_ERROR_UNKNOWN_EXCEPTION = -20042, ///< something was thrown that carries no result
};

/// A result that travels as an exception, within one call of the host's and never out of it.
class ResultError : public std::runtime_error {
public:
    explicit ResultError(Result result) : std::runtime_error("result " + std::to_string(result)), code(result) {}
    [[nodiscard]] Result result() const noexcept { return code; }

private:
    Result code;
};

} // namespace sorvane::aax
