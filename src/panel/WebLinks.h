#pragma once

#include <QStringView>
#include <QUrl>
#include <vector>

namespace velmo {

/// A web address in a text, by its first unit and the one after its last.
struct WebLink {
    qsizetype begin = 0;
    qsizetype end = 0;
    friend bool operator==(const WebLink&, const WebLink&) = default;
};

/// Longer than any address that somebody would open. What is longer is no link as a whole.
constexpr qsizetype kLongestWebLink = 4096;

/// The http and https addresses that begin at the position or later, in order. Punctuation that ends a
/// sentence and brackets that close around an address are no part of it.
[[nodiscard]] std::vector<WebLink> findWebLinks(QStringView text, qsizetype from = 0);

/// The address to open; invalid where the text of a link is none after all.
[[nodiscard]] QUrl webAddress(QStringView link);

} // namespace velmo
