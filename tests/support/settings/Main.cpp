// Somebody who changes settings without end. Usage: velmo-settings-writer FILE NAME [COUNT]
//
// Sets NAME0 … NAME9 and NAME to 1, 2, 3 ... by turns, and says each number once it is saved. Ends after
// COUNT of them, or when it is killed.

#include "platform/linux/JsonFileDefaults.h"

#include <QCoreApplication>
#include <cstdio>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3)
        return 2;
    velmo::JsonFileDefaults defaults(arguments.at(1));
    const QString name = arguments.at(2);
    const int count = arguments.value(3, QStringLiteral("2147483647")).toInt();
    constexpr int kKeys = 10;
    for (int number = 1; number <= count; ++number) {
        defaults.setObject(name + QString::number(number % kKeys), number);
        defaults.setObject(name, number);
        QCoreApplication::processEvents();
        defaults.flush();
        std::printf("%d\n", number);
        std::fflush(stdout);
    }
    return defaults.takeProblems().isEmpty() ? 0 : 1;
}
