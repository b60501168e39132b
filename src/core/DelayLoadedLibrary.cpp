#include "core/DelayLoadedLibrary.h"

#include <QLibrary>

namespace velmo {

DelayLoadedLibrary::DelayLoadedLibrary(const char* name, int version)
    : name_(name)
    , version_(version)
{}

bool DelayLoadedLibrary::load()
{
    std::call_once(once_, [this] { resolve(); });
    return isLoaded_;
}

void DelayLoadedLibrary::resolve()
{
    // By its whole name: of one that is split into name and version the toolkit would give the other version
    // that is loaded already.
    QLibrary library(file());
    library.setLoadHints(QLibrary::PreventUnloadHint);
    if (!library.load())
        return;
    for (const DelayLoadedSymbol* symbol : symbols_) {
        symbol->address_ = library.resolve(symbol->name_);
        if (symbol->address_ == nullptr) {
            missing_ = symbol->name_;
            return;
        }
    }
    isLoaded_ = true;
}

QString DelayLoadedLibrary::file() const
{
    return QStringLiteral("lib") + QString::fromLatin1(name_) + QStringLiteral(".so.") +
           QString::number(version_);
}

QString DelayLoadedLibrary::absence() const
{
    if (missing_ != nullptr)
        return QStringLiteral("The library ") + file() +
               QStringLiteral(" is not the one that Velmo needs: it has no ") +
               QString::fromLatin1(missing_) + u'.';
    return QStringLiteral("The library ") + file() +
           QStringLiteral(" is missing: install it, and start Velmo again.");
}

DelayLoadedSymbol::DelayLoadedSymbol(DelayLoadedLibrary& library, const char* name)
    : name_(name)
{
    library.symbols_.push_back(this);
}

} // namespace velmo
