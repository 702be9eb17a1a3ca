// Draws the program's two pictures: the certificate watermark and the main window's background.
//
// Build and run from the repository's top folder (needs only Qt Gui):
//   g++ -std=c++20 -fPIC tools/make-pictures.cpp $(pkg-config --cflags --libs Qt6Gui) \
//       -o /tmp/make-pictures && QT_QPA_PLATFORM=offscreen /tmp/make-pictures assets tests/data/report
// The first folder gets Watermark.jpg and Profiler_Background.jpg at full size; the optional
// second folder gets a small Watermark.jpg for the tests. Both pictures are light on purpose: the
// certificate is printed over the watermark and the result grid sits on the background.
#include <QColor>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cmath>
#include <cstdio>

namespace {

// A smooth reflectance-like curve across the width: a sum of two soft bumps.
QPainterPath SpectralCurve(double width, double top, double height, double peak1, double peak2,
                           double floor) {
    QPainterPath path;
    for (int x = 0; x <= 400; ++x) {
        const double t = x / 400.0;
        const double r = floor + 0.55 * std::exp(-std::pow((t - peak1) / 0.12, 2)) +
                         0.35 * std::exp(-std::pow((t - peak2) / 0.18, 2));
        const QPointF p(t * width, top + height * (1.0 - std::min(r, 1.0)));
        if (x == 0) {
            path.moveTo(p);
        } else {
            path.lineTo(p);
        }
    }
    return path;
}

// A colour pushed towards white so that it prints as a faint tint.
QColor Pale(int hue, double strength) {
    QColor c = QColor::fromHsv(hue, 140, 235);
    return QColor::fromRgbF(1.0 - (1.0 - c.redF()) * strength, 1.0 - (1.0 - c.greenF()) * strength,
                            1.0 - (1.0 - c.blueF()) * strength);
}

QImage Watermark(int size) {
    QImage image(size, size * 5 / 6, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const double w = image.width(), h = image.height();
    const QPointF centre(w / 2, h / 2);
    const double radius = h * 0.42;

    // A wheel of twelve faint tile swatches around a seal.
    for (int k = 0; k < 12; ++k) {
        const double angle = k * 30.0 * M_PI / 180.0;
        const QPointF at(centre.x() + radius * std::cos(angle), centre.y() + radius * std::sin(angle));
        p.setPen(Qt::NoPen);
        p.setBrush(Pale(k * 30, 0.22));
        p.drawRoundedRect(QRectF(at.x() - h * 0.055, at.y() - h * 0.055, h * 0.11, h * 0.11),
                          h * 0.02, h * 0.02);
    }
    p.setBrush(Qt::NoBrush);
    for (double f : {0.80, 0.76, 0.56}) {
        p.setPen(QPen(QColor(226, 232, 240), h * 0.006));
        p.drawEllipse(centre, radius * f, radius * f);
    }
    // Three spectral curves inside the seal.
    p.save();
    p.setClipRegion(QRegion(QRect(int(centre.x() - radius * 0.56), int(centre.y() - radius * 0.56),
                                  int(radius * 1.12), int(radius * 1.12)),
                            QRegion::Ellipse));
    p.translate(centre.x() - radius * 0.56, centre.y() - radius * 0.45);
    const struct {
        int hue;
        double a, b, floor;
    } curves[] = {{210, 0.25, 0.45, 0.10}, {120, 0.50, 0.70, 0.08}, {0, 0.85, 0.95, 0.05}};
    for (const auto& c : curves) {
        p.setPen(QPen(Pale(c.hue, 0.30), h * 0.008));
        p.drawPath(SpectralCurve(radius * 1.12, 0, radius * 0.9, c.a, c.b, c.floor));
    }
    p.restore();
    // The name in the ring.
    QFont font(QStringLiteral("Liberation Serif"));
    font.setPixelSize(int(h * 0.075));
    font.setLetterSpacing(QFont::AbsoluteSpacing, h * 0.02);
    p.setFont(font);
    p.setPen(QColor(220, 227, 236));
    p.drawText(QRectF(0, centre.y() + radius * 0.60, w, h * 0.1), Qt::AlignHCenter | Qt::AlignTop,
               QStringLiteral("TINTARA"));
    return image;
}

QImage Background(int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, height);
    sky.setColorAt(0.0, QColor(246, 248, 251));
    sky.setColorAt(1.0, QColor(222, 230, 239));
    p.fillRect(image.rect(), sky);
    QRadialGradient glow(width * 0.8, height * 0.15, width * 0.6);
    glow.setColorAt(0.0, QColor(255, 255, 255, 150));
    glow.setColorAt(1.0, QColor(255, 255, 255, 0));
    p.fillRect(image.rect(), glow);
    // Faint reflectance curves sweeping across the lower half.
    const struct {
        int hue;
        double a, b, floor;
    } curves[] = {{220, 0.20, 0.40, 0.15}, {140, 0.45, 0.62, 0.12}, {30, 0.75, 0.92, 0.10},
                  {330, 0.10, 0.90, 0.30}, {0, 0.88, 0.98, 0.05}};
    for (const auto& c : curves) {
        p.setPen(QPen(Pale(c.hue, 0.35), height * 0.004));
        p.drawPath(SpectralCurve(width, height * 0.45, height * 0.5, c.a, c.b, c.floor));
    }
    // A row of soft tiles in the lower right corner.
    for (int k = 0; k < 8; ++k) {
        p.setPen(Qt::NoPen);
        p.setBrush(Pale(k * 45, 0.45));
        const double s = height * 0.05;
        p.drawRoundedRect(QRectF(width - (8 - k) * s * 1.3 - s, height - 2.2 * s, s, s), s * 0.18,
                          s * 0.18);
    }
    return image;
}

bool Save(const QImage& image, const QString& file) {
    if (!image.save(file, "JPG", 92)) {
        std::fprintf(stderr, "cannot write %s\n", file.toLocal8Bit().constData());
        return false;
    }
    std::printf("wrote %s (%dx%d)\n", file.toLocal8Bit().constData(), image.width(), image.height());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: make-pictures ASSET_DIR [TEST_DATA_DIR]\n");
        return 2;
    }
    const QString assets = QString::fromLocal8Bit(argv[1]);
    bool ok = Save(Watermark(1800), assets + "/Watermark.jpg") &&
              Save(Background(1600, 1000), assets + "/Profiler_Background.jpg");
    if (argc > 2) ok = ok && Save(Watermark(240), QString::fromLocal8Bit(argv[2]) + "/Watermark.jpg");
    return ok ? 0 : 1;
}
