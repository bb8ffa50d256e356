#pragma once

#include <QWidget>

namespace vitrek {

// A circle holding a check mark (good) or an exclamation mark (fair) at half its size.
class InRangeBadge : public QWidget {
    Q_OBJECT

public:
    explicit InRangeBadge(bool ok = true, int size = 18, QWidget* parent = nullptr);

    void setOk(bool ok);
    bool ok() const { return m_ok; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool m_ok;
    int m_size;
};

} // namespace vitrek
