#include "SampleWindow.h"

#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <tolvana/qt/WidgetKeys.h>

namespace {

constexpr int kCartItems = 3;

template <class W>
W* named(W* widget, const char* name) {
  widget->setObjectName(QString::fromLatin1(name));
  return widget;
}

}  // namespace

SampleWindow::SampleWindow(QWidget* parent) : QMainWindow(parent) {
  setObjectName(QStringLiteral("window"));
  auto* central = new QWidget(this);
  auto* layout = new QVBoxLayout(central);
  title_ = named(new QLabel(central), "title");
  QFont big = title_->font();
  big.setPointSize(big.pointSize() * 2);
  big.setBold(true);
  title_->setFont(big);
  subtitle_ = named(new QLabel(central), "subtitle");
  greeting_ = named(new QLabel(central), "greeting");
  cart_ = named(new QLabel(central), "cart");
  search_ = named(new QLineEdit(central), "search");
  list_ = named(new QListWidget(central), "list");
  checkout_ = named(new QPushButton(central), "checkout");
  help_ = named(new QPushButton(central), "help");
  footer_ = named(new QLabel(central), "footer");
  for (QWidget* widget : std::initializer_list<QWidget*>{title_, subtitle_, greeting_, cart_, search_, list_, checkout_,
                                                         help_, footer_}) {
    layout->addWidget(widget);
    // Room above the text: without it the dots of capital umlauts are cut off.
    if (auto* label = qobject_cast<QLabel*>(widget)) label->setMargin(2);
  }
  setCentralWidget(central);
  resize(480, 420);
  retranslate();
}

void SampleWindow::changeEvent(QEvent* event) {
  if (event->type() == QEvent::LanguageChange) retranslate();
  QMainWindow::changeEvent(event);
}

void SampleWindow::retranslate() {
  setWindowTitle(tr("Tolvana Qt sample"));
  title_->setText(tr("Welcome"));
  subtitle_->setText(tr("Your texts come from the translation store."));
  greeting_->setText(tr("Hello, %1!").arg(QStringLiteral("Ada")));
  cart_->setText(tr("%n item(s) in your cart", nullptr, kCartItems));
  search_->setPlaceholderText(tr("Search"));
  list_->clear();
  list_->addItems({tr("Apples"), tr("Bread"), tr("Coffee")});
  checkout_->setText(tr("Check out"));
  help_->setText(tr("Help"));
  footer_->setText(qtTrId("footer.note"));
}

QStringList SampleWindow::describeTexts() {
  QStringList lines;
  auto line = [&lines](QWidget* widget, const QString& text) {
    lines << widget->objectName() + '\t' + text + '\t' + tolvana::qt::keyForWidget(widget);
  };
  line(this, windowTitle());
  for (QWidget* widget : findChildren<QWidget*>()) {
    if (widget->objectName().isEmpty() || !widget->isVisible()) continue;
    if (auto* label = qobject_cast<QLabel*>(widget)) line(widget, label->text());
    if (auto* button = qobject_cast<QPushButton*>(widget)) line(widget, button->text());
    if (auto* edit = qobject_cast<QLineEdit*>(widget)) line(widget, edit->placeholderText());
  }
  return lines;
}
