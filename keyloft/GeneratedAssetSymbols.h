// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QImage>
#include <QPixmap>
#include <QString>
#include <functional>

// Typed handles of the pictures and colours that are compiled into the program. A bundle is the
// folder of the compiled-in resources that they lie in.

/// The bundle of this program's own resources. Any thread.
[[nodiscard]] const QString& resourceBundle();

/// Names one picture, `<bundle>/<name>.svg`.
struct ImageResource {
    QString name;
    QString bundle;
    bool operator==(const ImageResource&) const = default;

    /// The picture of the machine. Any thread.
    [[nodiscard]] static const ImageResource& hardware();
};

/// Names one colour, `<bundle>/<name>.color`, a file that holds the colour's name. There are none.
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

/// The picture as large as fits into `size` without distortion, drawn for a screen with `ratio`
/// pixels to the point; its device pixel ratio is set to that. Null when there is no such picture.
[[nodiscard]] QPixmap toolkit_image(const ImageResource& resource, QSize size, qreal ratio);

/// The colour; an invalid one when there is no such colour.
[[nodiscard]] QColor toolkit_color(const ColorResource& resource);

/// The picture at its own size. Ends the program when there is no such picture.
[[nodiscard]] QImage platform_image(const ImageResource& resource);

/// The colour. Ends the program when there is no such colour.
[[nodiscard]] QColor platform_color(const ColorResource& resource);
