#pragma once

#include "capture/ScreenCaptureService.h"
#include "core/async/TaskScope.h"
#include "fakes/FakeDisplayCapture.h"
#include "support/capture/Pictures.h"
#include "support/core/EventLoop.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <memory>
#include <optional>

namespace velmo {

/// The service with displays that the test makes up.
class CaptureTest : public testing::Test {
protected:
    using Outcome = Result<QByteArray, PlatformError>;
    using Pending = std::shared_ptr<std::optional<Outcome>>;

    static async::Task<> keep(ScreenCaptureService* service, std::optional<quint32> displayID, QImage overlay,
                              Pending pending)
    {
        *pending = co_await service->captureWithAnnotations(displayID, std::move(overlay));
    }

    Pending begin(std::optional<quint32> displayID, const QImage& overlay = {})
    {
        auto pending = std::make_shared<std::optional<Outcome>>();
        scope.start(keep(&service, displayID, overlay, pending));
        return pending;
    }

    Outcome capture(std::optional<quint32> displayID, const QImage& overlay = {})
    {
        const Pending pending = begin(displayID, overlay);
        if (!turnUntil([&] { return pending->has_value(); }))
            return Failure{PlatformError{PlatformError::Kind::Failed, QStringLiteral("never finished")}};
        return **pending;
    }

    /// What is sent, as another decoder reads it.
    QImage picture(std::optional<quint32> displayID, const QImage& overlay = {})
    {
        const Outcome outcome = capture(displayID, overlay);
        EXPECT_TRUE(outcome.hasValue()) << outcome.error().description.toStdString();
        return outcome ? QImage::fromData(outcome.value(), "PNG").convertToFormat(QImage::Format_RGB32)
                       : QImage();
    }

    /// The error's sentence; empty without one.
    QString complaint(std::optional<quint32> displayID)
    {
        const Outcome outcome = capture(displayID);
        return outcome ? QString() : outcome.error().description;
    }

    static QImage plain(QSize size, QColor color = Qt::gray)
    {
        QImage image(size, QImage::Format_RGB32);
        image.fill(color);
        return image;
    }

    LogLines log;
    FakeDisplayCapture displays;
    ScreenCaptureService service{displays};
    async::TaskScope scope;
};

} // namespace velmo
