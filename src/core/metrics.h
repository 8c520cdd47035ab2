#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>

#include <functional>
#include <map>
#include <utility>

namespace tav {

// The station's figures for a monitoring system, written in Prometheus's
// text exposition format 0.0.4: counters, gauges and histograms, each
// family declared once with its help line, its series told apart by
// labels. Values may be given from any thread and read from any other; the
// sampler (figures taken when asked, such as the uptime) runs on the thread
// that asks for the text.
class Metrics
{
public:
    enum class Type { Counter, Gauge, Histogram };
    using Labels = QList<std::pair<QString, QString>>;

    // Names are [a-zA-Z_:][a-zA-Z0-9_:]*; a family is declared before use.
    // A counter or gauge without labels shows 0 from its declaration on.
    void declare(const QString &name, Type type, const QString &help, QList<double> buckets = {});
    void add(const QString &name, double by = 1, const Labels &labels = {});
    void set(const QString &name, double value, const Labels &labels = {});
    void observe(const QString &name, double value);

    // A series' value; a histogram's sample count. 0 when not there.
    double value(const QString &name, const Labels &labels = {}) const;
    void setSampler(std::function<void(Metrics &)> sampler);

    // Every family in declaration order, the sampler run first.
    QByteArray text();
    static constexpr const char *kContentType = "text/plain; version=0.0.4; charset=utf-8";

    static bool isValidName(const QString &name);
    static QByteArray number(double value);

private:
    struct Histogram
    {
        QList<double> bounds;
        QList<quint64> counts; // per bound, not cumulative; one more for +Inf
        double sum = 0;
        quint64 count = 0;
    };
    struct Family
    {
        QString name;
        Type type = Type::Gauge;
        QString help;
        std::map<Labels, double> series;
        Histogram histogram;
    };
    Family *find(const QString &name);
    const Family *find(const QString &name) const;

    mutable QMutex m_mutex;
    QList<Family> m_families;
    std::function<void(Metrics &)> m_sampler;
};

} // namespace tav
