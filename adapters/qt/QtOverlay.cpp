#include "QtOverlay.h"

#include <QGuiApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <algorithm>

namespace tolvana::qt {
namespace {

QString css(std::uint32_t rgba) {
  return QStringLiteral("rgba(%1,%2,%3,%4)")
      .arg(rgba >> 24)
      .arg((rgba >> 16) & 0xFF)
      .arg((rgba >> 8) & 0xFF)
      .arg((rgba & 0xFF) / 255.0);
}

QRect toRect(const UiRect& r) { return QRect(int(r.x), int(r.y), int(r.width), int(r.height)); }

constexpr Qt::WindowFlags kAboveAll = Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;

// The overlay as it is seen, drawn from its widgets with their mask ignored, in a window that
// takes no input at all.
class Backdrop final : public QWidget {
 public:
  explicit Backdrop(QWidget* shown) : QWidget(nullptr, kAboveAll | Qt::WindowTransparentForInput), shown_(shown) {
    setObjectName(QStringLiteral("TolvanaOverlayBackdrop"));
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    if (!shown_) return;
    QPainter painter(this);
    shown_->render(&painter, QPoint(), QRegion(), QWidget::DrawChildren | QWidget::IgnoreMask);
  }

 private:
  QPointer<QWidget> shown_;
};

}  // namespace

QtOverlay::QtOverlay() : QWidget(nullptr, kAboveAll), backdrop_(new Backdrop(this)) {
  setObjectName(QStringLiteral("TolvanaOverlay"));
  setAttribute(Qt::WA_TranslucentBackground);
  setAttribute(Qt::WA_ShowWithoutActivating);
  if (QScreen* screen = QGuiApplication::primaryScreen()) setGeometry(screen->geometry());
  backdrop_->setGeometry(geometry());
}

QtOverlay::~QtOverlay() { delete backdrop_.data(); }

QWidget* QtOverlay::widgetFor(const UiControl& control) {
  QPointer<QWidget>& widget = widgets_[control.name];
  if (widget) return widget;
  QWidget* parent = control.parent.empty() ? this : widgets_[control.parent].data();
  if (!parent) parent = this;
  const std::string name = control.name;
  switch (control.kind) {
    case UiControl::Kind::panel:
      widget = new QWidget(parent);
      widget->setAttribute(Qt::WA_StyledBackground);
      break;
    case UiControl::Kind::button: {
      auto* button = new QPushButton(parent);
      connect(button, &QPushButton::clicked, this, [this, name] {
        if (overlay_.onTap) overlay_.onTap(name, "");
      });
      widget = button;
      break;
    }
    case UiControl::Kind::textField: {
      auto* edit = new QLineEdit(parent);
      connect(edit, &QLineEdit::textEdited, this, [this, name](const QString& text) {
        if (overlay_.onEdit) overlay_.onEdit(name, text.toStdString());
      });
      widget = edit;
      break;
    }
    case UiControl::Kind::list: {
      auto* list = new QListWidget(parent);
      connect(list, &QListWidget::itemClicked, this, [this, name](QListWidgetItem* item) {
        if (overlay_.onTap) overlay_.onTap(name, item->text().toStdString());
      });
      widget = list;
      break;
    }
  }
  widget->setObjectName(QString::fromStdString(name));
  return widget;
}

void QtOverlay::style(QWidget* widget, const UiControl& control, bool touchable) {
  // Frames come in window coordinates; a child sits in its panel's.
  QRect frame = toRect(control.frame);
  if (QWidget* parent = widget->parentWidget(); parent && parent != this) frame.translate(-parent->pos());
  widget->setGeometry(frame);
  widget->setVisible(!control.hidden);
  widget->setEnabled(control.enabled);
  widget->setAttribute(Qt::WA_TransparentForMouseEvents, control.kind != UiControl::Kind::panel && !touchable);
  widget->setAccessibleName(QString::fromStdString(control.accessibilityName));
  QString title = QString::fromStdString(control.title);
  // A clear control (the UI-test toggle) has no border either, so nothing of it shows.
  bool clear = (control.background & 0xFF) == 0;
  widget->setStyleSheet(QStringLiteral("background-color: %1; color: %2;%3")
                            .arg(css(control.background), css(control.foreground), clear ? " border: none;" : ""));
  if (auto* button = qobject_cast<QPushButton*>(widget)) button->setText(title);
  if (auto* edit = qobject_cast<QLineEdit*>(widget)) {
    edit->setPlaceholderText(title);
    edit->setAlignment(control.name == "customTagTextField" ? Qt::AlignCenter : Qt::AlignLeft);
    if (edit->text().toStdString() != control.text) edit->setText(QString::fromStdString(control.text));
  }
  if (auto* list = qobject_cast<QListWidget*>(widget)) {
    list->clear();
    for (const auto& item : control.items) {
      auto* row = new QListWidgetItem(QString::fromStdString(item), list);
      row->setData(Qt::AccessibleTextRole, QStringLiteral("cell_%1").arg(row->text()));
    }
  }
}

void QtOverlay::update(UiOverlay overlay) {
  overlay_ = std::move(overlay);
  // A control gone from the description, or moved to another panel, is made anew.
  std::map<std::string, std::string> parents;
  for (const UiControl& control : overlay_.controls) parents[control.name] = control.parent;
  for (auto& [name, widget] : widgets_) {
    auto kept = parents.find(name);
    if (widget && (kept == parents.end() || kept->second != parents_[name])) delete widget.data();
  }
  std::erase_if(widgets_, [](const auto& entry) { return !entry.second; });
  parents_ = std::move(parents);
  QRegion shown, touched;
  for (const UiControl& control : overlay_.controls) {
    bool touchable = std::find(overlay_.touchable.begin(), overlay_.touchable.end(), control.name) !=
                     overlay_.touchable.end();
    QWidget* widget = widgetFor(control);
    style(widget, control, touchable);
    // What is shown on top draws; a hidden panel's children go with it.
    if (!control.hidden && (control.parent.empty() || widgets_[control.parent]->isVisibleTo(this))) {
      shown += toRect(control.frame);
    }
    if (touchable) touched += toRect(control.frame);
  }
  // An empty mask would be none at all, the whole window; a region outside it keeps the
  // window up while it shows nothing and takes no click.
  const QRegion nothing(-1, -1, 1, 1);
  backdrop_->setMask(shown.isEmpty() ? nothing : shown);
  setMask(touched.isEmpty() ? nothing : touched);
  backdrop_->show();
  backdrop_->raise();
  backdrop_->update();
  show();
  raise();
}

void QtOverlay::focusControl(const std::string& name) {
  if (auto found = widgets_.find(name); found != widgets_.end() && found->second) {
    activateWindow();
    found->second->setFocus();
  }
}

}  // namespace tolvana::qt
