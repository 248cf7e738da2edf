#include "QuickOverlay.h"

#include <QColor>
#include <QGuiApplication>
#include <QPointer>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QScreen>
#include <QSurfaceFormat>
#include <algorithm>
#include <functional>
#include <map>

namespace tolvana::qt {
namespace {

QColor color(std::uint32_t rgba) { return QColor(rgba >> 24, (rgba >> 16) & 0xFF, (rgba >> 8) & 0xFF, rgba & 0xFF); }

QRect toRect(const UiRect& r) { return QRect(int(r.x), int(r.y), int(r.width), int(r.height)); }

const char* kindName(UiControl::Kind kind) {
  switch (kind) {
    case UiControl::Kind::panel: return "panel";
    case UiControl::Kind::button: return "button";
    case UiControl::Kind::textField: return "textField";
    case UiControl::Kind::list: return "list";
  }
  return "panel";
}

// An empty mask would be none at all, the whole window; a region outside it keeps the window
// up while it shows nothing and takes no click.
QRegion maskOrNothing(const QRegion& region) { return region.isEmpty() ? QRegion(-1, -1, 1, 1) : region; }

}  // namespace

// Reports a control's taps and edits by its name. A child of the control's item, so it goes
// with it; the call is queued, since what it leads to may remove the item that was tapped.
class ControlEvents final : public QObject {
  Q_OBJECT
 public:
  using Report = std::function<void(const std::string& control, const std::string& text, bool tap)>;
  ControlEvents(QQuickItem* item, std::string name, Report report)
      : QObject(item), name_(std::move(name)), report_(std::move(report)) {
    connect(item, SIGNAL(tapped(QString)), this, SLOT(tapped(QString)));
    connect(item, SIGNAL(edited(QString)), this, SLOT(edited(QString)));
  }

 public slots:
  void tapped(const QString& text) { later(text, true); }
  void edited(const QString& text) { later(text, false); }

 private:
  void later(const QString& text, bool tap) {
    QMetaObject::invokeMethod(
        this, [this, text = text.toStdString(), tap] { report_(name_, text, tap); }, Qt::QueuedConnection);
  }
  std::string name_;
  Report report_;
};

// One window of the overlay and its controls by name.
class QuickOverlay::Scene {
 public:
  Scene(QQmlEngine* engine, const char* name, bool takesInput) : engine_(engine), takesInput_(takesInput) {
    window_ = new QQuickWindow();
    // The engine's owner takes the window along at the application's end.
    window_->QObject::setParent(engine);
    window_->setObjectName(QString::fromLatin1(name));
    // Clear where nothing is drawn, the invisible toggle of UI tests included.
    QSurfaceFormat format = window_->format();
    format.setAlphaBufferSize(8);
    window_->setFormat(format);
    window_->setColor(Qt::transparent);
    Qt::WindowFlags flags = Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
    if (!takesInput) flags |= Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus;
    window_->setFlags(flags);
    if (QScreen* screen = QGuiApplication::primaryScreen()) window_->setGeometry(screen->geometry());
    component_ = new QQmlComponent(engine, QUrl(QStringLiteral("qrc:/tolvana/OverlayControl.qml")), window_);
  }
  ~Scene() { delete window_.data(); }

  QQuickWindow* window() const { return window_; }
  QQuickItem* item(const std::string& name) const {
    auto found = items_.find(name);
    return found == items_.end() ? nullptr : found->second.data();
  }

  void update(const UiOverlay& overlay, const ControlEvents::Report& report) {
    if (!window_) return;
    std::map<std::string, std::string> parents;
    for (const UiControl& control : overlay.controls) parents[control.name] = control.parent;
    // A control gone from the description, or moved to another panel, is made anew. It leaves
    // the scene at once, so that no frame shows it beside its successor, but is deleted only
    // later, as the tap that led here may still be on its way out of the item.
    for (auto it = items_.begin(); it != items_.end();) {
      auto now = parents.find(it->first);
      auto before = parents_.find(it->first);
      bool kept = it->second && now != parents.end() && before != parents_.end() && now->second == before->second;
      if (kept) {
        ++it;
        continue;
      }
      if (QQuickItem* gone = it->second) {
        gone->setVisible(false);
        gone->setParentItem(nullptr);
        gone->deleteLater();
      }
      it = items_.erase(it);
    }
    parents_ = std::move(parents);
    QRegion shown, touched;
    std::map<std::string, bool> hidden;
    int z = 0;
    for (const UiControl& control : overlay.controls) {
      bool touchable = takesInput_ && std::find(overlay.touchable.begin(), overlay.touchable.end(), control.name) !=
                                          overlay.touchable.end();
      // A hidden panel's children go with it.
      bool isHidden = hidden[control.name] = control.hidden || (!control.parent.empty() && hidden[control.parent]);
      QQuickItem* item = itemFor(control, report);
      if (!item) continue;
      style(item, control, touchable, isHidden, ++z);
      // A clear control (the UI-test toggle) has nothing to draw.
      if (!isHidden && (control.background & 0xFF) != 0) shown += toRect(control.frame);
      if (touchable) touched += toRect(control.frame);
    }
    window_->setMask(maskOrNothing(takesInput_ ? touched : shown));
    window_->show();
    window_->raise();
  }

 private:
  QQuickItem* itemFor(const UiControl& control, const ControlEvents::Report& report) {
    QPointer<QQuickItem>& item = items_[control.name];
    if (item) return item;
    QObject* made = component_->beginCreate(engine_->rootContext());
    item = qobject_cast<QQuickItem*>(made);
    if (!item) {
      delete made;
      return nullptr;
    }
    item->setObjectName(QString::fromStdString(control.name));
    item->setProperty("kind", QString::fromLatin1(kindName(control.kind)));
    component_->completeCreate();
    item->setParentItem(window_->contentItem());
    item->setParent(window_->contentItem());
    if (takesInput_) new ControlEvents(item, control.name, report);
    return item;
  }

  static void style(QQuickItem* item, const UiControl& control, bool touchable, bool hidden, int z) {
    const QRect frame = toRect(control.frame);
    item->setPosition(frame.topLeft());
    item->setSize(frame.size());
    item->setZ(z);
    item->setVisible(!hidden);
    item->setEnabled(control.enabled);
    item->setProperty("color", color(control.background));
    item->setProperty("foreground", color(control.foreground));
    item->setProperty("title", QString::fromStdString(control.title));
    item->setProperty("accessibleName", QString::fromStdString(control.accessibilityName));
    item->setProperty("touchable", touchable);
    item->setProperty("centred", control.name == "customTagTextField");
    QStringList rows;
    for (const auto& row : control.items) rows << QString::fromStdString(row);
    item->setProperty("rows", rows);
    QMetaObject::invokeMethod(item, "setFieldText", Q_ARG(QVariant, QString::fromStdString(control.text)));
  }

  QQmlEngine* engine_;
  const bool takesInput_;
  QPointer<QQuickWindow> window_;
  QQmlComponent* component_ = nullptr;
  std::map<std::string, QPointer<QQuickItem>> items_;
  std::map<std::string, std::string> parents_;
};

QuickOverlay::QuickOverlay(QQmlEngine* engine)
    : backdrop_(std::make_unique<Scene>(engine, "TolvanaOverlayBackdrop", false)),
      top_(std::make_unique<Scene>(engine, "TolvanaOverlay", true)) {}

QuickOverlay::~QuickOverlay() = default;

void QuickOverlay::update(UiOverlay overlay) {
  overlay_ = std::move(overlay);
  // Reports go through the description in force when the control is used.
  auto report = [this](const std::string& control, const std::string& text, bool tap) {
    const auto& handler = tap ? overlay_.onTap : overlay_.onEdit;
    if (handler) handler(control, text);
  };
  backdrop_->update(overlay_, report);
  top_->update(overlay_, report);
}

void QuickOverlay::focusControl(const std::string& name) {
  if (QQuickItem* item = top_->item(name)) {
    top_->window()->requestActivate();
    QMetaObject::invokeMethod(item, "focusField");
  }
}

}  // namespace tolvana::qt

#include "QuickOverlay.moc"
