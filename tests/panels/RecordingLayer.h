// An XRV / JPEG 2000 layer that writes down every setter call the panels make, as
// "setContrast(1.5)", in order, and then does what the layer does.
#pragma once

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include "XRVJP2kLayer.h"

namespace PanelTest {

class RecordingLayer : public Korvane::XRVJP2kLayer {
public:
    RecordingLayer() : Korvane::XRVJP2kLayer(nullptr) {}

    QStringList calls;

    void setTransparency(double v) override
    {
        record("setTransparency", v);
        XRVJP2kLayer::setTransparency(v);
    }
    void setContrast(double v) override
    {
        record("setContrast", v);
        XRVJP2kLayer::setContrast(v);
    }
    void setBrightness(double v) override
    {
        record("setBrightness", v);
        XRVJP2kLayer::setBrightness(v);
    }
    void setTransformClip(int v) override
    {
        record("setTransformClip", v);
        XRVJP2kLayer::setTransformClip(v);
    }
    void setJp2QualityLayers(int v) override
    {
        record("setJp2QualityLayers", v);
        XRVJP2kLayer::setJp2QualityLayers(v);
    }
    void setBandList(QVector<int> v) override;
    void setResampleType(ResampleType v) override
    {
        record("setResampleType", int(v));
        XRVJP2kLayer::setResampleType(v);
    }
    void setPixmapSmoothing(bool v) override
    {
        record("setPixmapSmoothing", v);
        XRVJP2kLayer::setPixmapSmoothing(v);
    }
    void setProgressive(bool v) override
    {
        record("setProgressive", v);
        XRVJP2kLayer::setProgressive(v);
    }
    void setAdaptiveRoam(bool v) override
    {
        record("setAdaptiveRoam", v);
        XRVJP2kLayer::setAdaptiveRoam(v);
    }
    void setBackingStore(bool v) override
    {
        record("setBackingStore", v);
        XRVJP2kLayer::setBackingStore(v);
    }
    void setTextureDither(bool v) override
    {
        record("setTextureDither", v);
        XRVJP2kLayer::setTextureDither(v);
    }
    void setFreeCache(bool v) override
    {
        record("setFreeCache", v);
        XRVJP2kLayer::setFreeCache(v);
    }
    void setReadRGBA(bool v) override
    {
        record("setReadRGBA", v);
        XRVJP2kLayer::setReadRGBA(v);
    }
    void setDrawOutline(bool v) override
    {
        record("setDrawOutline", v);
        XRVJP2kLayer::setDrawOutline(v);
    }
    void setOutlineColor(QColor v) override
    {
        record("setOutlineColor", v.name());
        XRVJP2kLayer::setOutlineColor(v);
    }

private:
    void record(const char* setter, const QVariant& value);
};

}  // namespace PanelTest
