#include "RandomText.h"

#include <array>

namespace velmo::test {

const std::vector<std::u16string>& nastyAlphabets()
{
    static const std::vector<std::u16string> alphabets{
        u"*_`# \nab\r", u"**__``## \nab\r\t\v\u0085\u2028\u00a0",
        u"****a\n",     u"____*a ",
        u"__`*a",       u"``a\n\r",
        u"## \n\ra",    u"##  \n\t\r\v\f\u0085\u2028\u2029\u00a0\u3000\u200b*_`",
        u"**`__# a",    std::u16string(u"*_`#\n a") + u'\xd83d' + u'\xde00' + u'\0',
    };
    return alphabets;
}

std::u16string RandomText::next()
{
    constexpr std::array<std::size_t, 6> kLengths{8, 12, 16, 20, 32, 60};
    const std::u16string& alphabet = nastyAlphabets()[below(nastyAlphabets().size())];
    std::u16string text(1 + below(kLengths[below(kLengths.size())]), u' ');
    for (char16_t& character : text)
        character = alphabet[below(alphabet.size())];
    return text;
}

} // namespace velmo::test
