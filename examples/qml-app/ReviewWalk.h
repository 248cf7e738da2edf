// ReviewWalk: a tester's walk through the review tools over the QML scene, scripted for the
// demo: with the library's UI-test overlay up (a QML window, as the app has no widgets), it
// opens the strip, saves a picture of the screen with the overlay open, picks the first
// screen tag the server offers and captures the scene. It prints what it did and ends the app.
#pragma once

#include <QString>

class QQuickWindow;

void runReviewWalk(QQuickWindow* scene, const QString& overlayPng);
