#include "Demo/DemoAnchors.h"

#include "support/KitTesting.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QWidget>
#include <optional>

namespace brivel::test {
namespace {

std::optional<QRectF> anchor(const char* id) { return DemoAnchors::shared().frame(id); }

// The button's frame worked out from the window's geometry rather than by mapping the button.
QRectF expectedFrame(const QWidget& window, const QWidget& button) {
    return QRectF(window.geometry().topLeft() + button.pos(), QSizeF(button.size()));
}

TEST(DemoAnchorsTest, FrameFollowsTheWidgetAndItsWindowUntilTheWidgetGoes) {
    QWidget window;
    window.setGeometry(100, 120, 400, 300);
    auto* button = new QPushButton("Save", &window);
    button->setGeometry(30, 40, 120, 32);
    demoAnchor(button, "demo.save");
    EXPECT_FALSE(anchor("demo.save")) << "not on screen yet";

    window.show();
    const auto frame = [] { return anchor("demo.save"); };
    ASSERT_TRUE(waitFor([&] { return frame() == expectedFrame(window, *button); }));
    EXPECT_EQ(frame()->topLeft(), QPointF(130, 160));

    // move() places the window's frame, which may have borders: move it by a known shift instead.
    window.move(window.frameGeometry().topLeft() + QPoint(200, 80));
    EXPECT_TRUE(waitFor([&] { return frame() == QRectF(330, 240, 120, 32); }));

    button->setGeometry(10, 10, 150, 40);
    EXPECT_TRUE(waitFor([&] { return frame() == QRectF(310, 210, 150, 40); }));

    delete button;
    EXPECT_FALSE(frame());
}

TEST(DemoAnchorsTest, AWidgetThatTookTheIdOverKeepsItWhenTheOldOneGoes) {
    QWidget window;
    window.setGeometry(50, 50, 300, 200);
    auto* old = new QPushButton("Old", &window);
    old->setGeometry(0, 0, 50, 20);
    demoAnchor(old, "demo.item");
    window.show();
    ASSERT_TRUE(waitFor([] { return anchor("demo.item").has_value(); }));

    auto* replacement = new QPushButton("New", &window);
    replacement->setGeometry(100, 100, 60, 24);
    demoAnchor(replacement, "demo.item");
    replacement->show();
    ASSERT_TRUE(waitFor([&] { return anchor("demo.item") == expectedFrame(window, *replacement); }));

    delete old;
    EXPECT_EQ(anchor("demo.item"), expectedFrame(window, *replacement));
    delete replacement;
    EXPECT_FALSE(anchor("demo.item"));
}

TEST(DemoAnchorsTest, AWidgetMovedToAnotherWindowFollowsTheNewWindow) {
    QWidget first;
    QWidget second;
    first.setGeometry(10, 10, 200, 100);
    second.setGeometry(400, 300, 200, 100);
    auto* label = new QWidget(&first);
    label->setGeometry(5, 5, 40, 20);
    demoAnchor(label, "demo.moving");
    first.show();
    second.show();

    label->setParent(&second);
    label->move(20, 30);
    label->show();
    ASSERT_TRUE(waitFor([&] { return anchor("demo.moving") == expectedFrame(second, *label); }));
    const auto before = anchor("demo.moving");
    second.move(second.frameGeometry().topLeft() + QPoint(100, 50));
    EXPECT_TRUE(waitFor([&] { return anchor("demo.moving") == before->translated(100, 50); }));
}

} // namespace
} // namespace brivel::test
