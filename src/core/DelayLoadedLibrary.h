#pragma once

#include <QFunctionPointer>
#include <QString>
#include <mutex>
#include <vector>

namespace velmo {

class DelayLoadedSymbol;

/// A shared library that is loaded when it is first needed, and not with the program: what an idle program
/// does not call costs neither start nor memory. Its functions are declared beside it with
/// VELMO_DELAY_LOADED, and it stays loaded.
class DelayLoadedLibrary {
public:
    /// Without the "lib" before the name, and with the number of the interface that the program was built
    /// for.
    DelayLoadedLibrary(const char* name, int version);
    DelayLoadedLibrary(const DelayLoadedLibrary&) = delete;
    DelayLoadedLibrary& operator=(const DelayLoadedLibrary&) = delete;
    ~DelayLoadedLibrary() = default;

    /// Loads it, unless that has been done. False where it is not installed, or lacks one of the functions.
    /// Any thread; the first call waits for the disk.
    [[nodiscard]] bool load();
    /// Why load() answered no: a sentence for the user.
    [[nodiscard]] QString absence() const;

private:
    friend class DelayLoadedSymbol;

    void resolve();
    [[nodiscard]] QString file() const;

    const char* const name_;
    const int version_;
    std::vector<const DelayLoadedSymbol*> symbols_;
    std::once_flag once_;
    const char* missing_ = nullptr; ///< The first function that is not in it.
    bool isLoaded_ = false;
};

/// One of its functions.
class DelayLoadedSymbol {
public:
    DelayLoadedSymbol(DelayLoadedLibrary& library, const char* name);
    DelayLoadedSymbol(const DelayLoadedSymbol&) = delete;
    DelayLoadedSymbol& operator=(const DelayLoadedSymbol&) = delete;
    ~DelayLoadedSymbol() = default;

protected:
    [[nodiscard]] QFunctionPointer address() const { return address_; }

private:
    friend class DelayLoadedLibrary;

    const char* const name_;
    mutable QFunctionPointer address_ = nullptr;
};

/// To be called like the function, once load() has answered yes.
template <typename Function>
class DelayLoadedFunction : public DelayLoadedSymbol {
public:
    using DelayLoadedSymbol::DelayLoadedSymbol;

    template <typename... Arguments>
    auto operator()(Arguments... arguments) const
    {
        return reinterpret_cast<Function*>(address())(arguments...);
    }
};

} // namespace velmo

/// Declares an object that is called like the library's function and hides it inside the namespace, so that
/// code there is written as ever. What is forgotten here fails to link. The warning would be about hints to
/// the optimizer, which get lost on this way.
// clang-format off
#define VELMO_DELAY_LOADED(library, function)                                                                \
    _Pragma("GCC diagnostic push")                                                                           \
    _Pragma("GCC diagnostic ignored \"-Wignored-attributes\"")                                               \
    /* NOLINTNEXTLINE(bugprone-macro-parentheses): a name cannot be in any. */                                \
    inline const DelayLoadedFunction<decltype(::function)> function{library, #function};                     \
    _Pragma("GCC diagnostic pop")                                                                            \
    static_assert(true)
// clang-format on
