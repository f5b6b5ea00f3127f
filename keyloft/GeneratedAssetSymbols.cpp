// SPDX-License-Identifier: MIT
#include "keyloft/GeneratedAssetSymbols.h"

#include "keyloft/fatal_stop.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace {

/// Stands for the program's own code: its resources are the ones compiled in beside it.
struct ResourceBundleClass {
    static QString bundle() { return u":/keyloft"_s; }
};

constexpr const char* nothing_found = "Unexpectedly found nil while unwrapping an Optional value";

QImage rendered(QSvgRenderer& picture, QSize pixels) {
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    picture.render(&painter, QRectF(QPointF(), QSizeF(pixels)));
    return image;
}

QString path(const ImageResource& resource) {
    return resource.bundle + u'/' + resource.name + u".svg"_s;
}

} // namespace

const QString& resourceBundle() {
    static const QString bundle = ResourceBundleClass::bundle();
    return bundle;
}

const ImageResource& ImageResource::hardware() {
    static const ImageResource resource{u"hardware"_s, resourceBundle()};
    return resource;
}

std::size_t std::hash<ImageResource>::operator()(const ImageResource& resource) const noexcept {
    return qHashMulti(0, resource.name, resource.bundle);
}

std::size_t std::hash<ColorResource>::operator()(const ColorResource& resource) const noexcept {
    return qHashMulti(0, resource.name, resource.bundle);
}

QPixmap toolkit_image(const ImageResource& resource, QSize size, qreal ratio) {
    if (!QFile::exists(path(resource)))
        return {};
    QSvgRenderer picture(path(resource));
    const QSizeF box = QSizeF(size) * ratio;
    const QSizeF fitted = QSizeF(picture.defaultSize()).scaled(box, Qt::KeepAspectRatio);
    QPixmap pixmap = QPixmap::fromImage(rendered(picture, fitted.toSize()));
    pixmap.setDevicePixelRatio(ratio);
    return pixmap;
}

QColor toolkit_color(const ColorResource& resource) {
    QFile file(resource.bundle + u'/' + resource.name + u".color"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QColor::fromString(QString::fromUtf8(file.readAll().trimmed()));
}

QImage platform_image(const ImageResource& resource) {
    if (!QFile::exists(path(resource)))
        fatal_stop(nothing_found, FatalReason::no_entry);
    QSvgRenderer picture(path(resource));
    return rendered(picture, picture.defaultSize());
}

QColor platform_color(const ColorResource& resource) {
    const QColor color = toolkit_color(resource);
    if (!color.isValid())
        fatal_stop(nothing_found, FatalReason::no_entry);
    return color;
}
