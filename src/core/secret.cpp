#include "core/secret.h"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QRandomGenerator>
#include <QStringList>

namespace tav {

namespace {
constexpr int kIterations = 100000;
constexpr int kSaltBytes = 16;
constexpr int kHashBytes = 32;
const QString kScheme = QStringLiteral("pbkdf2-sha256");

QByteArray derive(const QString &secret, const QByteArray &salt, int iterations)
{
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, secret.toUtf8(), salt, iterations,
                                              kHashBytes);
}
} // namespace

QString hashSecret(const QString &secret)
{
    QByteArray salt(kSaltBytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(salt.data()), kSaltBytes / 4);
    return kScheme + u'$' + QString::number(kIterations) + u'$' + QString::fromLatin1(salt.toBase64()) + u'$'
        + QString::fromLatin1(derive(secret, salt, kIterations).toBase64());
}

bool secretMatches(const QString &secret, const QString &stored)
{
    const QStringList parts = stored.split(u'$');
    if (secret.isEmpty() || parts.size() != 4 || parts[0] != kScheme)
        return false;
    bool ok = false;
    const int iterations = parts[1].toInt(&ok);
    if (!ok || iterations < 1 || iterations > 10000000)
        return false;
    const QByteArray salt = QByteArray::fromBase64(parts[2].toLatin1());
    const QByteArray want = QByteArray::fromBase64(parts[3].toLatin1());
    if (salt.isEmpty() || want.size() != kHashBytes)
        return false;
    const QByteArray got = derive(secret, salt, iterations);
    unsigned char diff = 0;
    for (int i = 0; i < kHashBytes; ++i)
        diff |= static_cast<unsigned char>(got[i] ^ want[i]);
    return diff == 0;
}

} // namespace tav
