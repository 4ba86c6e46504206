#pragma once

#include <QtCore/QObject>

/// A unit with two inputs and one output, properties that tell of their changes as every field does.
class QtUnit final : public QObject {
    Q_OBJECT
    Q_PROPERTY(double force READ getForce WRITE setForce NOTIFY forceChanged)
    Q_PROPERTY(double drag READ getDrag WRITE setDrag NOTIFY dragChanged)
    Q_PROPERTY(double speed READ getSpeed NOTIFY speedChanged)

public:
    void update() {
        const double next = _force + _drag;
        if (next == _speed) return;
        _speed = next;
        Q_EMIT speedChanged(next);
    }
    void feed(QtUnit& next) { connect(this, &QtUnit::speedChanged, &next, &QtUnit::setForce); }
    [[nodiscard]] double getForce() const { return _force; }
    [[nodiscard]] double getDrag() const { return _drag; }
    [[nodiscard]] double getSpeed() const { return _speed; }

public Q_SLOTS:
    void setForce(double force) {
        if (force == _force) return;
        _force = force;
        Q_EMIT forceChanged(force);
    }
    void setDrag(double drag) {
        if (drag == _drag) return;
        _drag = drag;
        Q_EMIT dragChanged(drag);
    }

Q_SIGNALS:
    void forceChanged(double force);
    void dragChanged(double drag);
    void speedChanged(double speed);

private:
    double _force{0.0};
    double _drag{0.0};
    double _speed{0.0};
};
