/// Bytes that must not stay in memory once they are done with.
#pragma once

#include <QByteArray>

namespace vok
{

/// A copy of `source` in a buffer that no other QByteArray shares, so that overwriting it leaves no second copy behind.
QByteArray ownedCopy(QByteArrayView source);

/// Appends `more` to `secret`. Where the buffer must grow, the one left behind is overwritten. `secret` must be the
/// sole owner of its buffer.
void appendOwned(QByteArray& secret, QByteArrayView more);

/// Overwrites every byte of `secret` with zero and empties it. The buffer itself is kept. `secret` must be the sole
/// owner of its buffer: of a shared one, Qt would overwrite a fresh copy and leave the bytes where they are.
void overwrite(QByteArray& secret);

} // namespace vok
