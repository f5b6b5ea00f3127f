// SPDX-License-Identifier: MIT
#include "tests/screen/qm_catalogue.h"

#include <QDataStream>
#include <QFile>

/// The hash that a catalogue is searched by.
static quint32 elf_hash(const QByteArray& text) {
    quint32 hash = 0;
    for (const char c : text) {
        hash = (hash << 4) + static_cast<unsigned char>(c);
        const quint32 top = hash & 0xF0000000;
        hash ^= top >> 24;
        hash &= ~top;
    }
    return hash ? hash : 1;
}

bool write_catalogue(const QString& file, const QByteArray& context, const QByteArray& text,
                     const QString& translation) {
    // The file: a magic number and sections; a section: a tag, its length, its bytes. A message is
    // a run of tagged texts with an end tag, and the hash section says where each one starts.
    constexpr unsigned char magic[] = {0x3C, 0xB8, 0x64, 0x18, 0xCA, 0xEF, 0x9C, 0x95,
                                       0xCD, 0x21, 0x1C, 0xBF, 0x60, 0xA1, 0xBD, 0xDD};
    enum Section : quint8 { hashes = 0x42, messages = 0x69 };
    enum Tag : quint8 { message_end = 1, translated = 3, source = 6, in_context = 7 };

    QByteArray message;
    QDataStream message_stream(&message, QIODevice::WriteOnly);
    message_stream << quint8{translated} << translation << quint8{source} << quint32(text.size());
    message_stream.writeRawData(text.constData(), static_cast<int>(text.size()));
    message_stream << quint8{in_context} << quint32(context.size());
    message_stream.writeRawData(context.constData(), static_cast<int>(context.size()));
    message_stream << quint8{message_end};

    QFile catalogue(file);
    if (!catalogue.open(QIODevice::WriteOnly))
        return false;
    QDataStream stream(&catalogue);
    stream.writeRawData(reinterpret_cast<const char*>(magic), sizeof magic);
    stream << quint8{hashes} << quint32{8} << elf_hash(text) << quint32{0};
    stream << quint8{messages} << message;
    return stream.status() == QDataStream::Ok && catalogue.flush();
}
