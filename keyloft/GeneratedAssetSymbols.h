// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QString>
#include <functional>

// The pictures and colours that are compiled into the program, by name. A bundle is a folder of
// compiled-in files.

/// The folder with this program's own files. Any thread.
[[nodiscard]] const QString& resourceBundle();

/// The name of a picture: the file is `<bundle>/<name>.svg`.
struct ImageResource {
    QString name;
    QString bundle;
    bool operator==(const ImageResource&) const = default;

    /// The picture of the machine. Any thread.
    [[nodiscard]] static const ImageResource& hardware();
};

/// The name of a colour: the file `<bundle>/<name>.color` holds it as text, such as "#d6303d". This
/// program has no such file.
struct ColorResource {
    QString name;
    QString bundle;
    bool operator==(const ColorResource&) const = default;
};

template<>
struct std::hash<ImageResource> {
    std::size_t operator()(const ImageResource& resource) const noexcept;
};
template<>
struct std::hash<ColorResource> {
    std::size_t operator()(const ColorResource& resource) const noexcept;
};

/// Draws the picture as large as fits into `size` (points) without distortion. `ratio` is the
/// screen's pixels per point, and becomes the pixmap's device pixel ratio. Returns a null pixmap if
/// there is no such picture. The window's thread only.
[[nodiscard]] QPixmap toolkit_image(const ImageResource& resource, QSize size, qreal ratio);

/// Reads the colour. Returns an invalid one if there is no such file. Any thread.
[[nodiscard]] QColor toolkit_color(const ColorResource& resource);

/// Draws the picture at its own size, in pixels. Ends the program if there is no such picture.
[[nodiscard]] QImage platform_image(const ImageResource& resource);

/// Reads the colour. Ends the program if there is no such file.
[[nodiscard]] QColor platform_color(const ColorResource& resource);
