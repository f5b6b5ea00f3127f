// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Writes a compiled catalogue that translates one text of one context. False when it cannot.
[[nodiscard]] bool write_catalogue(const QString& file, const QByteArray& context,
                                   const QByteArray& text, const QString& translation);
