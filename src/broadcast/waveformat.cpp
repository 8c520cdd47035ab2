#include "broadcast/waveformat.h"

#include "platform/speech.h"

#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>

#include <samplerate.h>
#include <sndfile.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace tav {

namespace {

int hertz(int kHz)
{
    switch (kHz) {
    case 11: return 11025;
    case 22: return 22050;
    case 44: return 44100;
    default: return kHz * 1000;
    }
}

// Virtual I/O of libsndfile into a growing buffer.
struct Buffer
{
    QByteArray bytes;
    sf_count_t at = 0;
};

sf_count_t vLength(void *user) { return static_cast<Buffer *>(user)->bytes.size(); }
sf_count_t vSeek(sf_count_t offset, int whence, void *user)
{
    auto *b = static_cast<Buffer *>(user);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? b->at : b->bytes.size();
    b->at = qMax<sf_count_t>(0, base + offset);
    return b->at;
}
sf_count_t vRead(void *ptr, sf_count_t count, void *user)
{
    auto *b = static_cast<Buffer *>(user);
    const sf_count_t n = qBound<sf_count_t>(0, sf_count_t(b->bytes.size()) - b->at, count);
    memcpy(ptr, b->bytes.constData() + b->at, size_t(n));
    b->at += n;
    return n;
}
sf_count_t vWrite(const void *ptr, sf_count_t count, void *user)
{
    auto *b = static_cast<Buffer *>(user);
    if (b->at + count > b->bytes.size())
        b->bytes.resize(qsizetype(b->at + count));
    memcpy(b->bytes.data() + b->at, ptr, size_t(count));
    b->at += count;
    return count;
}
sf_count_t vTell(void *user) { return static_cast<Buffer *>(user)->at; }

} // namespace

const QStringList &WaveFormat::names()
{
    static const QStringList list = [] {
        QStringList n;
        for (const int kHz : {8, 11, 12, 16, 22, 24, 32, 44, 48})
            for (const int bits : {8, 16})
                for (const char *layout : {"Mono", "Stereo"})
                    n.append(u"SAFT%1kHz%2Bit%3"_s.arg(kHz).arg(bits).arg(QLatin1String(layout)));
        return n;
    }();
    return list;
}

bool WaveFormat::parse(const QString &name, WaveFormat *out)
{
    static const QRegularExpression pattern(u"^SAFT(\\d+)kHz(8|16)Bit(Mono|Stereo)$"_s);
    const QRegularExpressionMatch m = pattern.match(name.trimmed());
    if (!m.hasMatch() || !names().contains(name.trimmed()))
        return false;
    out->sampleRate = hertz(m.captured(1).toInt());
    out->bits = m.captured(2).toInt();
    out->channels = m.captured(3) == u"Stereo" ? 2 : 1;
    return true;
}

bool writeWave(const SpeechAudio &audio, const WaveFormat &format, const QString &path, QString *error)
{
    const auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    const qint64 frames = audio.frames();
    std::vector<float> in(static_cast<size_t>(frames));
    const auto *samples = reinterpret_cast<const qint16 *>(audio.samples.constData());
    for (qint64 i = 0; i < frames; ++i)
        in[size_t(i)] = samples[i] / 32768.0f;

    std::vector<float> mono = in;
    if (audio.sampleRate != format.sampleRate && frames > 0) {
        const double ratio = double(format.sampleRate) / audio.sampleRate;
        mono.assign(size_t(frames * ratio) + 64, 0.0f);
        SRC_DATA data{};
        data.data_in = in.data();
        data.input_frames = long(frames);
        data.data_out = mono.data();
        data.output_frames = long(mono.size());
        data.src_ratio = ratio;
        const int result = src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1);
        if (result != 0)
            return fail(QString::fromUtf8(src_strerror(result)));
        mono.resize(size_t(data.output_frames_gen));
    }
    std::vector<float> out;
    out.reserve(mono.size() * size_t(format.channels));
    for (const float s : mono)
        for (int c = 0; c < format.channels; ++c)
            out.push_back(s);

    Buffer buffer;
    SF_VIRTUAL_IO io{vLength, vSeek, vRead, vWrite, vTell};
    SF_INFO info{};
    info.samplerate = format.sampleRate;
    info.channels = format.channels;
    info.format = SF_FORMAT_WAV | (format.bits == 8 ? SF_FORMAT_PCM_U8 : SF_FORMAT_PCM_16);
    SNDFILE *file = sf_open_virtual(&io, SFM_WRITE, &info, &buffer);
    if (!file)
        return fail(QString::fromUtf8(sf_strerror(nullptr)));
    sf_writef_float(file, out.data(), sf_count_t(mono.size()));
    sf_close(file);

    QSaveFile save(path);
    if (!save.open(QIODevice::WriteOnly) || save.write(buffer.bytes) != buffer.bytes.size() || !save.commit())
        return fail(save.errorString());
    return true;
}

} // namespace tav
