// Calls into the engine whose C++ exceptions come back as texts. Exceptions leave the engine's
// functions, and no caller in Python can catch one: without a handler in between, the process ends.

#include <cstdint>
#include <cstring>
#include <exception>

namespace {

/** Where a text goes; always terminated. */
struct Failure {
    char* text;
    std::int32_t size;
};

void store(const Failure& failure, const char* text) noexcept {
    std::strncpy(failure.text, text, static_cast<std::size_t>(failure.size) - 1);
    failure.text[failure.size - 1] = '\0';
}

/** True if the call returned; what it returned goes to `result`. */
template <class Result, class... Arguments>
bool guarded(const Failure* failure, Result* result, Result (*call)(Arguments...),
             Arguments... arguments) noexcept {
    try {
        *result = call(arguments...);
        return true;
    } catch (const std::exception& exception) {
        store(*failure, exception.what());
    } catch (...) {
        store(*failure, "unknown exception");
    }
    return false;
}

template <class... Arguments>
bool guarded(const Failure* failure, void (*call)(Arguments...), Arguments... arguments) noexcept {
    try {
        call(arguments...);
        return true;
    } catch (const std::exception& exception) {
        store(*failure, exception.what());
    } catch (...) {
        store(*failure, "unknown exception");
    }
    return false;
}

using Handle = void*;
using Count = std::int32_t;

}  // namespace

// One function for each signature; `call` is the engine's function.
extern "C" {

bool guardCreateModel(const Failure* failure, Handle* result, Handle (*call)(const char*),
                      const char* path) {
    return guarded(failure, result, call, path);
}

bool guardCreateProcessor(const Failure* failure, Handle* result,
                          Handle (*call)(const char*, Count, double), const char* path,
                          Count channels, double sampleRate) {
    return guarded(failure, result, call, path, channels, sampleRate);
}

bool guardCreateSeparator(const Failure* failure, Handle* result,
                          Handle (*call)(Count, const char* const*, Count, double), Count models,
                          const char* const* paths, Count channels, double sampleRate) {
    return guarded(failure, result, call, models, paths, channels, sampleRate);
}

bool guardReset(const Failure* failure, void (*call)(Handle), Handle handle) {
    return guarded(failure, call, handle);
}

bool guardAddTensor(const Failure* failure, void (*call)(Handle, const float*, Count, const Count*),
                    Handle model, const float* data, Count rank, const Count* shape) {
    return guarded(failure, call, model, data, rank, shape);
}

bool guardGetTensor(const Failure* failure, bool* result, bool (*call)(Handle, float*),
                    Handle model, float* out) {
    return guarded(failure, result, call, model, out);
}

bool guardPush(const Failure* failure, void (*call)(Handle, const void*, Count), Handle processor,
               const void* samples, Count count) {
    return guarded(failure, call, processor, samples, count);
}

bool guardPull(const Failure* failure, bool* result, bool (*call)(Handle, void*, Count),
               Handle processor, void* samples, Count count) {
    return guarded(failure, result, call, processor, samples, count);
}

}  // extern "C"
