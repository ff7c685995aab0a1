#include "SceneGraph.h"

#include <QDir>
#include <QFileInfo>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>
#include <QSGRendererInterface>

namespace SceneGraph {

bool isSoftwareRenderer(QByteArrayView renderer) {
    const QByteArray name = renderer.toByteArray().toLower();
    for (const char* software : {"llvmpipe", "softpipe", "swrast", "software rasterizer"})
        if (name.contains(software))
            return true;
    return false;
}

QByteArray openGLRenderer() {
    QOpenGLContext context;
    if (!context.create())
        return {};
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return {};
    const auto* name = context.functions()->glGetString(GL_RENDERER);
    QByteArray renderer = name ? QByteArray(reinterpret_cast<const char*>(name)) : QByteArray();
    context.doneCurrent();
    return renderer;
}

bool hasRenderNode() {
    const QDir dri(QStringLiteral("/dev/dri"));
    // NVIDIA's own driver may run without its DRM module, on its own device.
    return !dri.entryList({QStringLiteral("renderD*")}, QDir::System | QDir::AllEntries)
                .isEmpty() ||
           QFileInfo::exists(QStringLiteral("/dev/nvidia0"));
}

bool chooseBackend() {
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        return false;
    // Without a DRM render node no GPU driver can load, and Mesa's own switch says it too:
    // neither needs the probe, which costs some 45 ms of CPU on llvmpipe. No OpenGL at all
    // leaves only the software renderer.
    bool software = !hasRenderNode() || qEnvironmentVariableIntValue("LIBGL_ALWAYS_SOFTWARE") != 0;
    if (!software) {
        const QByteArray renderer = openGLRenderer();
        software = renderer.isEmpty() || isSoftwareRenderer(renderer);
    }
    if (software)
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    return software;
}

} // namespace SceneGraph
