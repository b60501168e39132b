#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QImage>
#include <QStringList>
#include <QThread>
#include <QVariant>
#include <memory>

namespace velmo::test {

/// An item of a menu, as a status item exports it.
struct ExportedItem {
    int id = 0;
    QString label; ///< Empty for a separator.
    QString keys;  ///< "Control+Q".
    bool isEnabled = true;
};

/// A desktop's bar on a message bus: the watcher that status items announce themselves to, and a host that
/// shows them. Like every bar it may start late, end, and start anew. It answers on a thread of its own,
/// since a toolkit may wait for it.
class TrayHost final {
public:
    explicit TrayHost(const QByteArray& busAddress);
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;
    ~TrayHost();

    /// True when it has the watcher's name.
    [[nodiscard]] bool start() { return startWatcher() && startHost(); }
    /// The two parts of it: until the second, there is nobody who would show an item.
    [[nodiscard]] bool startWatcher();
    [[nodiscard]] bool startHost();
    /// The watcher stays.
    [[nodiscard]] bool stopHost();
    void stop();

    /// Who has announced itself since the latest start.
    [[nodiscard]] QStringList items() const;

    /// Of the one item that there is. They wait for the answer, and run the main loop meanwhile.
    [[nodiscard]] QVariant property(const QString& name);
    [[nodiscard]] QString toolTip();
    /// Sizes in pixels of the pictures of its symbol, and the first picture that large; null if there is
    /// none.
    [[nodiscard]] QList<QSize> symbolSizes();
    [[nodiscard]] QImage symbol(QSize size);
    [[nodiscard]] QList<ExportedItem> menu();
    [[nodiscard]] bool choose(const QString& label);
    [[nodiscard]] bool activate();

private:
    class Watcher;

    [[nodiscard]] QDBusMessage ask(const QString& path, const QString& interface, const QString& member,
                                   const QVariantList& arguments);
    [[nodiscard]] QList<QImage> symbols();

    const QString address_;
    QString connectionName_;
    QThread thread_;
    std::unique_ptr<Watcher> watcher_;
};

} // namespace velmo::test
