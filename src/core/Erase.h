#pragma once

#include <cstring>
#include <string>

namespace velmo {

/// Empties a text that held a secret, and leaves nothing of it in its memory.
inline void erase(std::string& text)
{
    // What is beyond the end may be left of a longer one.
    text.resize(text.capacity());
    explicit_bzero(text.data(), text.size());
    text.clear();
}

} // namespace velmo
