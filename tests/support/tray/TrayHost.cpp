#include "support/tray/TrayHost.h"

#include "support/x11/Await.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QtEndian>
#include <algorithm>
#include <mutex>

namespace velmo::test {
namespace {

const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString kWatcherPath = QStringLiteral("/StatusNotifierWatcher");
const QString kItem = QStringLiteral("org.kde.StatusNotifierItem");
const QString kItemPath = QStringLiteral("/StatusNotifierItem");
const QString kMenu = QStringLiteral("com.canonical.dbusmenu");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

ExportedItem readItem(const QDBusArgument& argument)
{
    ExportedItem item;
    QVariantMap properties;
    argument.beginStructure();
    argument >> item.id >> properties;
    argument.endStructure();
    item.label = properties.value(QStringLiteral("label")).toString();
    item.isEnabled = properties.value(QStringLiteral("enabled"), true).toBool();
    if (properties.contains(QStringLiteral("shortcut"))) {
        const auto keys = properties.value(QStringLiteral("shortcut")).value<QDBusArgument>();
        keys.beginArray();
        while (!keys.atEnd()) {
            QStringList combination;
            keys >> combination;
            item.keys += combination.join(u'+');
        }
        keys.endArray();
    }
    return item;
}

} // namespace

class TrayHost::Watcher final : public QDBusVirtualObject {
public:
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        const std::lock_guard lock(mutex_);
        if (message.member() == QStringLiteral("RegisterStatusNotifierItem")) {
            items_.append(message.arguments().value(0).toString());
            return connection.send(message.createReply());
        }
        if (message.interface() == kProperties && message.member() == QStringLiteral("Get"))
            return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(hasHost_))));
        return false;
    }

    [[nodiscard]] QString introspect(const QString&) const override
    {
        return QStringLiteral("<interface name=\"org.kde.StatusNotifierWatcher\">"
                              "<method name=\"RegisterStatusNotifierItem\"><arg type=\"s\" direction=\"in\"/>"
                              "</method><property name=\"IsStatusNotifierHostRegistered\" type=\"b\" "
                              "access=\"read\"/><signal name=\"StatusNotifierHostRegistered\"/></interface>");
    }

    [[nodiscard]] QStringList items()
    {
        const std::lock_guard lock(mutex_);
        return items_;
    }
    void setHasHost(bool hasHost)
    {
        const std::lock_guard lock(mutex_);
        hasHost_ = hasHost;
    }

private:
    std::mutex mutex_;
    QStringList items_;
    bool hasHost_ = false;
};

TrayHost::TrayHost(const QByteArray& busAddress)
    : address_(QString::fromUtf8(busAddress))
{
    thread_.start();
}

TrayHost::~TrayHost()
{
    stop();
    thread_.quit();
    thread_.wait();
}

bool TrayHost::startWatcher()
{
    static int count = 0;
    connectionName_ = QStringLiteral("tray-host-") + QString::number(++count);
    watcher_ = std::make_unique<Watcher>();
    watcher_->moveToThread(&thread_);
    QDBusConnection bus = QDBusConnection::connectToBus(address_, connectionName_);
    return bus.registerVirtualObject(kWatcherPath, watcher_.get()) && bus.registerService(kWatcher);
}

bool TrayHost::startHost()
{
    watcher_->setHasHost(true);
    return QDBusConnection(connectionName_)
        .send(QDBusMessage::createSignal(kWatcherPath, kWatcher,
                                         QStringLiteral("StatusNotifierHostRegistered")));
}

bool TrayHost::stopHost()
{
    watcher_->setHasHost(false);
    return QDBusConnection(connectionName_)
        .send(QDBusMessage::createSignal(kWatcherPath, kWatcher,
                                         QStringLiteral("StatusNotifierHostUnregistered")));
}

void TrayHost::stop()
{
    if (!watcher_)
        return;
    {
        QDBusConnection bus(connectionName_);
        bus.unregisterService(kWatcher);
        bus.unregisterObject(kWatcherPath);
    }
    QDBusConnection::disconnectFromBus(connectionName_);
    // It may be at work on its thread, and is destroyed there.
    watcher_.release()->deleteLater();
}

QStringList TrayHost::items() const
{
    return watcher_ ? watcher_->items() : QStringList();
}

QDBusMessage TrayHost::ask(const QString& path, const QString& interface, const QString& member,
                           const QVariantList& arguments)
{
    if (items().isEmpty())
        return QDBusMessage::createError(QDBusError::ServiceUnknown, QStringLiteral("no item"));
    QDBusMessage call = QDBusMessage::createMethodCall(items().last(), path, interface, member);
    call.setArguments(arguments);
    // The item may live in this very process, and answers on the main loop.
    const QDBusPendingCall pending = QDBusConnection(connectionName_).asyncCall(call);
    static_cast<void>(awaitCondition([&] { return pending.isFinished(); }));
    return pending.reply();
}

QVariant TrayHost::property(const QString& name)
{
    const QDBusMessage reply = ask(kItemPath, kProperties, QStringLiteral("Get"), {kItem, name});
    return reply.arguments().isEmpty() ? QVariant()
                                       : reply.arguments().constFirst().value<QDBusVariant>().variant();
}

QString TrayHost::toolTip()
{
    const QVariant value = property(QStringLiteral("ToolTip"));
    const auto argument = value.value<QDBusArgument>();
    QString icon;
    QString title;
    argument.beginStructure();
    argument >> icon;
    argument.beginArray();
    while (!argument.atEnd())
        argument.asVariant();
    argument.endArray();
    argument >> title;
    argument.endStructure();
    return title;
}

QList<QImage> TrayHost::symbols()
{
    QList<QImage> images;
    const QVariant value = property(QStringLiteral("IconPixmap"));
    const auto argument = value.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray data;
        argument.beginStructure();
        argument >> width >> height >> data;
        argument.endStructure();
        QImage image(width, height, QImage::Format_ARGB32);
        if (data.size() != image.sizeInBytes())
            continue;
        qFromBigEndian<quint32>(data.constData(), data.size() / 4, image.bits());
        images.append(image);
    }
    argument.endArray();
    return images;
}

QList<QSize> TrayHost::symbolSizes()
{
    QList<QSize> sizes;
    for (const QImage& image : symbols())
        sizes.append(image.size());
    return sizes;
}

QImage TrayHost::symbol(QSize size)
{
    const QList<QImage> images = symbols();
    const auto found = std::ranges::find(images, size, &QImage::size);
    return found == images.end() ? QImage() : *found;
}

QList<ExportedItem> TrayHost::menu()
{
    const QString path = property(QStringLiteral("Menu")).value<QDBusObjectPath>().path();
    if (path.isEmpty())
        return {};
    static_cast<void>(ask(path, kMenu, QStringLiteral("AboutToShow"), {0}));
    const QDBusMessage reply = ask(path, kMenu, QStringLiteral("GetLayout"), {0, -1, QStringList()});
    if (reply.arguments().size() != 2)
        return {};
    QList<ExportedItem> items;
    const auto layout = reply.arguments().at(1).value<QDBusArgument>();
    int id = 0;
    QVariantMap properties;
    layout.beginStructure();
    layout >> id >> properties;
    layout.beginArray();
    while (!layout.atEnd()) {
        QDBusVariant child;
        layout >> child;
        items.append(readItem(child.variant().value<QDBusArgument>()));
    }
    layout.endArray();
    layout.endStructure();
    return items;
}

bool TrayHost::choose(const QString& label)
{
    const QList<ExportedItem> items = menu();
    const auto found = std::ranges::find(items, label, &ExportedItem::label);
    if (found == items.end())
        return false;
    const QString path = property(QStringLiteral("Menu")).value<QDBusObjectPath>().path();
    const QDBusMessage reply =
        ask(path, kMenu, QStringLiteral("Event"),
            {found->id, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(QString())), 0U});
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool TrayHost::activate()
{
    return ask(kItemPath, kItem, QStringLiteral("Activate"), {5, 5}).type() == QDBusMessage::ReplyMessage;
}

} // namespace velmo::test
