#include "shell/emergencycover.h"

#include "core/named.h"

#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace tav {

namespace {
const QString kClear = u"解除紧急广播"_s;
const QString kConfirm = u"再点一次，确认解除"_s;
} // namespace

EmergencyCover::EmergencyCover(QObject *parent) : QObject(parent)
{
    m_confirm.setSingleShot(true);
    m_confirm.setInterval(kConfirmMs);
    connect(&m_confirm, &QTimer::timeout, this, [this] {
        for (QWidget *w : windows())
            if (auto *b = w->findChild<QPushButton *>(u"cmdEmergencyCoverClear"_s))
                b->setText(kClear);
    });
}

EmergencyCover::~EmergencyCover()
{
    hideAll();
}

QList<QWidget *> EmergencyCover::windows() const
{
    QList<QWidget *> out;
    for (const QPointer<QWidget> &w : m_windows)
        if (w)
            out.append(w);
    return out;
}

void EmergencyCover::showText(const QString &text, const QDateTime &since)
{
    hideAll();
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (QScreen *screen : screens) {
        QWidget *w = makeWindow(screen->geometry(), text, since);
        m_windows.append(w);
        w->show();
        w->raise();
        emit windowShown(w);
    }
}

void EmergencyCover::hideAll()
{
    m_confirm.stop();
    for (const QPointer<QWidget> &w : std::as_const(m_windows))
        delete w.data();
    m_windows.clear();
}

QWidget *EmergencyCover::makeWindow(const QRect &geometry, const QString &text, const QDateTime &since)
{
    auto *w = new QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
                                       | Qt::X11BypassWindowManagerHint);
    w->setObjectName(u"frmEmergency"_s);
    w->setAttribute(Qt::WA_ShowWithoutActivating);
    w->setAutoFillBackground(true);
    QPalette palette = w->palette();
    palette.setColor(QPalette::Window, QColor(0xC0, 0x00, 0x00));
    palette.setColor(QPalette::WindowText, Qt::white);
    w->setPalette(palette);
    w->setGeometry(geometry);

    auto *layout = new QVBoxLayout(w);
    layout->setContentsMargins(geometry.width() / 16, geometry.height() / 12, geometry.width() / 16,
                               geometry.height() / 12);
    auto *title = named(new QLabel(u"紧急广播"_s), "lblEmergencyTitle");
    QFont titleFont = title->font();
    titleFont.setPixelSize(std::max(24, geometry.height() / 8));
    titleFont.setBold(true);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignCenter);
    auto *message = named(new QLabel(text), "lblEmergencyText");
    QFont messageFont = message->font();
    messageFont.setPixelSize(std::max(16, geometry.height() / 16));
    messageFont.setBold(true);
    message->setFont(messageFont);
    message->setWordWrap(true);
    message->setAlignment(Qt::AlignCenter);
    auto *since_ = named(new QLabel(u"开始于 "_s + since.toString(u"HH:mm:ss"_s)), "lblEmergencySince");
    since_->setAlignment(Qt::AlignCenter);
    auto *clear = named(new QPushButton(kClear), "cmdEmergencyCoverClear");
    clear->setFocusPolicy(Qt::NoFocus);
    clear->setStyleSheet(u"QPushButton { color: white; background: #800000; border: 2px solid white;"
                         " padding: 8px 24px; font-size: 18px; }"_s);
    connect(clear, &QPushButton::clicked, this, [this] {
        if (m_confirm.isActive()) {
            m_confirm.stop();
            emit clearConfirmed();
            return;
        }
        m_confirm.start();
        for (QWidget *other : windows())
            if (auto *b = other->findChild<QPushButton *>(u"cmdEmergencyCoverClear"_s))
                b->setText(kConfirm);
    });
    layout->addStretch(1);
    layout->addWidget(title);
    layout->addSpacing(geometry.height() / 24);
    layout->addWidget(message, 2);
    layout->addWidget(since_);
    layout->addStretch(1);
    layout->addWidget(clear, 0, Qt::AlignRight);
    return w;
}

} // namespace tav
