// SPDX-License-Identifier: Apache-2.0
// The scene of bench_screen's `everythingMoves` as Qt's painter draws it into memory, with the preview by libyuv as
// ours has it: the peer. Built where Qt 6 is found.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr int columns = 1080, rows = 2160, cameraColumns = 540, cameraRows = 1080;

struct Scene {
    Scene()
        : target(columns, rows, QImage::Format_RGB32)
        , thumbnail(168, 168, QImage::Format_ARGB32_Premultiplied)
        , luma(columns * rows)
        , chroma(columns * rows / 2)
    {
        thumbnail.fill(0xc8c8c8c8);
        for (int shift = 0; shift < 4; ++shift) {
            std::vector<std::uint8_t> frame(cameraColumns * cameraRows * 3 / 2, static_cast<std::uint8_t>(110 + shift));
            for (int y = 0; y < cameraRows; ++y)
                for (int x = 0; x < cameraColumns; ++x)
                    frame[static_cast<std::size_t>(y * cameraColumns + x)]
                        = static_cast<std::uint8_t>(128 + 90 * std::sin((x + shift) * 0.021) * std::cos(y * 0.013));
            frames.push_back(std::move(frame));
        }
    }
    void preview(int step)
    {
        const std::uint8_t* frame = frames[static_cast<std::size_t>(step % 4)].data();
        libyuv::NV12Scale(frame, cameraColumns, frame + cameraColumns * cameraRows, cameraColumns, cameraColumns,
            cameraRows, luma.data(), columns, chroma.data(), columns, columns, rows, libyuv::kFilterBilinear);
        for (int y = 0; y < rows; y += 120)
            libyuv::NV12ToARGBMatrix(luma.data() + y * columns, columns, chroma.data() + y / 2 * columns, columns,
                target.bits() + 4 * y * columns, 4 * columns, &libyuv::kYuvJPEGConstants, columns, 120);
    }
    void interface(int step)
    {
        const double shift = step % 2 == 0 ? 3 : -3;
        QPainter painter(&target);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(3, 3);
        painter.translate(0, shift);
        painter.setPen(QPen(Qt::white, 1));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(10, 190, 340, 340));
        painter.drawLine(QPointF(150, 360), QPointF(210, 360));
        painter.setPen(QPen(Qt::white, 2));
        painter.drawEllipse(QRectF(144, 620, 72, 72));
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::white);
        painter.drawEllipse(QRectF(148, 624, 64, 64));
        painter.setBrush(QColor(0, 0, 0, 77));
        painter.drawRoundedRect(QRectF(310, 200, 40, 300), 20, 20);
        painter.setBrush(QColor(255, 204, 0));
        painter.drawEllipse(QRectF(314, 300, 32, 32));
        painter.setPen(Qt::white);
        painter.setFont(QFont("sans-serif", 12));
        painter.drawText(QRectF(100, 40, 160, 24), "ISO 400  1/125");
        QPainterPath corners;
        corners.addRoundedRect(QRectF(20, 630, 56, 56), 4, 4);
        painter.setClipPath(corners);
        painter.drawImage(QRectF(20, 630, 56, 56), thumbnail);
    }

    QImage target, thumbnail;
    std::vector<std::uint8_t> luma, chroma;
    std::vector<std::vector<std::uint8_t>> frames;
};

void everythingMovesInQt(benchmark::State& state)
{
    Scene scene;
    int step = 0;
    for (auto _ : state) {
        scene.preview(++step);
        scene.interface(step);
    }
}
BENCHMARK(everythingMovesInQt)->Unit(benchmark::kMicrosecond);

}

int main(int count, char** arguments)
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // text needs an application, and it no screen
    const QGuiApplication application(count, arguments);
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
