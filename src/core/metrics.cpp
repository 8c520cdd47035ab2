#include "core/metrics.h"

#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

QByteArray escaped(const QString &text, bool quotes)
{
    QByteArray out;
    for (const char c : text.toUtf8()) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '"' && quotes)
            out += "\\\"";
        else
            out += c;
    }
    return out;
}

QByteArray labelText(const Metrics::Labels &labels, const QString &extraName = {}, const QByteArray &extra = {})
{
    if (labels.isEmpty() && extraName.isEmpty())
        return {};
    QByteArray out = "{";
    for (const auto &[name, value] : labels) {
        if (out.size() > 1)
            out += ',';
        out += name.toUtf8() + "=\"" + escaped(value, true) + '"';
    }
    if (!extraName.isEmpty()) {
        if (out.size() > 1)
            out += ',';
        out += extraName.toUtf8() + "=\"" + extra + '"';
    }
    return out + '}';
}

} // namespace

bool Metrics::isValidName(const QString &name)
{
    static const QRegularExpression valid(u"^[a-zA-Z_:][a-zA-Z0-9_:]*$"_s);
    return valid.match(name).hasMatch();
}

QByteArray Metrics::number(double value)
{
    if (std::isnan(value))
        return "NaN";
    if (std::isinf(value))
        return value > 0 ? "+Inf" : "-Inf";
    if (value == std::floor(value) && std::fabs(value) < 1e15)
        return QByteArray::number(qint64(value));
    return QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

void Metrics::declare(const QString &name, Type type, const QString &help, QList<double> buckets)
{
    if (!isValidName(name))
        throw std::invalid_argument("not a metric name: " + name.toStdString());
    QMutexLocker lock(&m_mutex);
    if (find(name))
        return;
    Family family{name, type, help, {}, {}};
    if (type == Type::Histogram) {
        std::sort(buckets.begin(), buckets.end());
        family.histogram.bounds = buckets;
        family.histogram.counts = QList<quint64>(buckets.size() + 1, 0);
    } else {
        family.series[Labels{}] = 0;
    }
    m_families.append(std::move(family));
}

Metrics::Family *Metrics::find(const QString &name)
{
    for (Family &f : m_families)
        if (f.name == name)
            return &f;
    return nullptr;
}

const Metrics::Family *Metrics::find(const QString &name) const
{
    for (const Family &f : m_families)
        if (f.name == name)
            return &f;
    return nullptr;
}

void Metrics::add(const QString &name, double by, const Labels &labels)
{
    QMutexLocker lock(&m_mutex);
    Family *f = find(name);
    if (!f || f->type == Type::Histogram || (f->type == Type::Counter && by < 0))
        return; // a counter only goes up
    if (!labels.isEmpty() && f->series.size() == 1 && f->series.count(Labels{}) && f->series.at(Labels{}) == 0)
        f->series.clear(); // a labelled family has no bare series
    f->series[labels] += by;
}

void Metrics::set(const QString &name, double value, const Labels &labels)
{
    QMutexLocker lock(&m_mutex);
    Family *f = find(name);
    if (!f || f->type != Type::Gauge)
        return;
    if (!labels.isEmpty())
        f->series.erase(Labels{});
    f->series[labels] = value;
}

void Metrics::observe(const QString &name, double value)
{
    QMutexLocker lock(&m_mutex);
    Family *f = find(name);
    if (!f || f->type != Type::Histogram)
        return;
    Histogram &h = f->histogram;
    qsizetype bucket = 0;
    while (bucket < h.bounds.size() && value > h.bounds.at(bucket))
        ++bucket;
    ++h.counts[bucket];
    h.sum += value;
    ++h.count;
}

double Metrics::value(const QString &name, const Labels &labels) const
{
    QMutexLocker lock(&m_mutex);
    const Family *f = find(name);
    if (!f)
        return 0;
    if (f->type == Type::Histogram)
        return double(f->histogram.count);
    const auto it = f->series.find(labels);
    return it == f->series.end() ? 0 : it->second;
}

void Metrics::setSampler(std::function<void(Metrics &)> sampler)
{
    QMutexLocker lock(&m_mutex);
    m_sampler = std::move(sampler);
}

QByteArray Metrics::text()
{
    std::function<void(Metrics &)> sampler;
    {
        QMutexLocker lock(&m_mutex);
        sampler = m_sampler;
    }
    if (sampler)
        sampler(*this);
    QMutexLocker lock(&m_mutex);
    QByteArray out;
    static const char *const kTypes[] = {"counter", "gauge", "histogram"};
    for (const Family &f : m_families) {
        const QByteArray name = f.name.toUtf8();
        out += "# HELP " + name + ' ' + escaped(f.help, false) + '\n';
        out += "# TYPE " + name + ' ' + kTypes[int(f.type)] + '\n';
        if (f.type != Type::Histogram) {
            for (const auto &[labels, value] : f.series)
                out += name + labelText(labels) + ' ' + number(value) + '\n';
            continue;
        }
        const Histogram &h = f.histogram;
        quint64 cumulative = 0;
        for (qsizetype i = 0; i <= h.bounds.size(); ++i) {
            cumulative += h.counts.at(i);
            const QByteArray le = i < h.bounds.size() ? number(h.bounds.at(i)) : QByteArray("+Inf");
            out += name + "_bucket" + labelText({}, u"le"_s, le) + ' ' + QByteArray::number(cumulative) + '\n';
        }
        out += name + "_sum " + number(h.sum) + '\n';
        out += name + "_count " + QByteArray::number(h.count) + '\n';
    }
    return out;
}

} // namespace tav
