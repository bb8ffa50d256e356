#include "Dial.h"

#include "screens/Theme.h"

#include <QFontMetricsF>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace vitrek {

namespace {

constexpr double kResponse = 0.9; // seconds of one undamped oscillation
constexpr double kDampingFraction = 0.85;
constexpr double kSettledDistance = 0.0005;
constexpr double kSettledSpeed = 0.01; // fraction per second
constexpr int kLongestMotionMs = 4000;
constexpr double kValueScale = 0.27; // the value's size against the dial's
constexpr double kValueRoom = 0.9;   // of the ring's inner diameter the value may take

bool g_reduceMotion = false;

struct SpringState {
    double offset;   // distance from the goal
    double velocity; // per second
};

double naturalFrequency() { return 2 * std::numbers::pi / kResponse; }

double decayRate() { return kDampingFraction * naturalFrequency(); }

double dampedFrequency() { return naturalFrequency() * std::sqrt(1 - kDampingFraction * kDampingFraction); }

// The underdamped spring's closed form: an offset and velocity after `t` seconds from `start`.
SpringState springState(SpringState start, double t) {
    const double decay = decayRate();
    const double damped = dampedFrequency();
    const double omega0 = naturalFrequency();
    const double envelope = std::exp(-decay * t);
    const double cosine = std::cos(damped * t);
    const double sine = std::sin(damped * t);
    const double sineOffset = (start.velocity + decay * start.offset) / damped;
    const double sineVelocity = (decay * start.velocity + omega0 * omega0 * start.offset) / damped;
    return SpringState{envelope * (start.offset * cosine + sineOffset * sine),
                       envelope * (start.velocity * cosine - sineVelocity * sine)};
}

// An upper bound on how long the motion from `start` takes to settle, from its decaying envelope.
int settleMs(SpringState start) {
    const double decay = decayRate();
    const double damped = dampedFrequency();
    const double omega0 = naturalFrequency();
    const double offsetAmplitude = std::hypot(start.offset, (start.velocity + decay * start.offset) / damped);
    const double speedAmplitude =
        std::hypot(start.velocity, (decay * start.velocity + omega0 * omega0 * start.offset) / damped);
    const double seconds = std::max({0.0, std::log(offsetAmplitude / kSettledDistance) / decay,
                                     std::log(speedAmplitude / kSettledSpeed) / decay});
    return std::clamp(static_cast<int>(std::ceil(seconds * 1000)), 1, kLongestMotionMs);
}

bool jumps() { return Dial::reduceMotion() || qEnvironmentVariableIsSet("VITREK_SNAPSHOT_DIR"); }

} // namespace

Dial::Dial(int size, int line, QWidget* parent)
    : QWidget(parent), m_size(size), m_line(line), m_value(QString::fromUtf8("–")),
      m_animation(new QVariantAnimation(this)) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // The animation only supplies frames and elapsed time; the spring decides where `shown` is.
    m_animation->setStartValue(0.0);
    m_animation->setEndValue(1.0);
    connect(m_animation, &QVariantAnimation::valueChanged, this, [this] {
        const SpringState now = springState(SpringState{m_springFrom - m_springGoal, m_springVelocity},
                                            m_animation->currentTime() / 1000.0);
        if (std::abs(now.offset) < kSettledDistance && std::abs(now.velocity) < kSettledSpeed) {
            m_shown = m_springGoal;
            m_animation->stop();
        } else {
            m_shown = m_springGoal + now.offset;
        }
        update();
    });
    connect(m_animation, &QVariantAnimation::finished, this, [this] {
        m_shown = m_springGoal;
        update();
    });
}

void Dial::setFraction(std::optional<double> fraction) {
    if (fraction == m_fraction) {
        return;
    }
    m_fraction = fraction;
    // Before it appears, a dial stays at 0 so that it fills on appearing, unless motion is off anyway.
    if (m_appeared || jumps()) {
        moveToTarget();
    }
    update();
}

void Dial::setValue(const QString& value) {
    m_value = value;
    update();
}

void Dial::setColor(const QColor& color) {
    m_color = color;
    update();
}

double Dial::target() const { return std::clamp(m_fraction.value_or(0.0), 0.0, 1.0); }

void Dial::setReduceMotion(bool reduce) { g_reduceMotion = reduce; }

bool Dial::reduceMotion() { return g_reduceMotion; }

QSize Dial::sizeHint() const { return QSize{m_size, m_size}; }

double Dial::springAt(double t) { return 1 + springState(SpringState{-1, 0}, std::max(t, 0.0)).offset; }

void Dial::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!m_appeared) {
        m_appeared = true;
        moveToTarget();
    }
}

void Dial::moveToTarget() {
    const double goal = target();
    double velocity = 0;
    if (m_animation->state() == QAbstractAnimation::Running) {
        // A change mid-flight carries on from where the arc is, at the speed it had.
        velocity = springState(SpringState{m_springFrom - m_springGoal, m_springVelocity},
                               m_animation->currentTime() / 1000.0)
                       .velocity;
        m_animation->stop();
    }
    if (jumps() || (goal == m_shown && velocity == 0)) {
        m_shown = goal;
        update();
        return;
    }
    m_springFrom = m_shown;
    m_springVelocity = velocity;
    m_springGoal = goal;
    m_animation->setDuration(settleMs(SpringState{m_springFrom - goal, velocity}));
    m_animation->start();
}

void Dial::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter{this};
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    // Laid out smaller than asked, the dial shrinks as a whole.
    const double side = std::min({width(), height(), m_size}) * 1.0;
    const double line = m_line * side / m_size;
    const QPointF centre = QRectF{rect()}.center();
    const double radius = (side - line) / 2;
    const QRectF ring{centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius};

    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen{Theme::color(Theme::Role::track), line});
    painter.drawEllipse(ring);

    const double shown = std::clamp(m_shown, 0.0, 1.0);
    if (shown > 0) {
        QPainterPath arc;
        arc.arcMoveTo(ring, 90);
        arc.arcTo(ring, 90, -360 * shown);
        QPen pen{m_color.isValid() ? m_color : Theme::color(Theme::Role::ink3), line};
        pen.setCapStyle(Qt::RoundCap);
        painter.setPen(pen);
        painter.drawPath(arc);
    }

    QFont font = Fonts::system(13, QFont::Black, true);
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(kValueScale * side))));
    const double room = (side - 2 * line) * kValueRoom;
    const double wide = QFontMetricsF{font}.horizontalAdvance(m_value);
    if (wide > room && room > 0) {
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * room / wide)));
    }
    const QFontMetricsF metrics{font};
    painter.setFont(font);
    painter.setPen(Theme::color(m_fraction ? Theme::Role::ink : Theme::Role::ink3));
    // Centred on the capital height, so digits sit in the middle of the ring whatever the font's descent.
    const QPointF baseline{centre.x() - metrics.horizontalAdvance(m_value) / 2,
                           centre.y() + metrics.capHeight() / 2};
    painter.drawText(baseline, m_value);
}

} // namespace vitrek
