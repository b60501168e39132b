#pragma once

#include "panel/PanelButtons.h"

#include <QPointer>

namespace velmo {

class PanelMenu;
class QueryPanelContentView;

/// Names the model in use, and opens the menu of models. Main thread.
class ModelPillButton final : public PanelButton {
public:
    explicit ModelPillButton(QueryPanelContentView& content);

    void setTitle(const QString& title);
    /// Looks pressed while its menu is open.
    void followMenu(PanelMenu& menu);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPointer<QueryPanelContentView> contentViewBridge_;
};

} // namespace velmo
