#pragma once

#include <QString>

namespace tav {

// Passwords and tokens are kept only as salted PBKDF2-SHA256 hashes, stored
// as "pbkdf2-sha256$<iterations>$<salt, base64>$<hash, base64>".
QString hashSecret(const QString &secret);
// False for an empty secret, a stored text of another form, or a mismatch;
// the comparison takes the same time wherever the hashes differ.
bool secretMatches(const QString &secret, const QString &stored);

} // namespace tav
