#pragma once

#include <QByteArray>
#include <QByteArrayView>

// Qt Quick's scene graph, picked before the first window. Where OpenGL is a software
// rasteriser (llvmpipe, softpipe, swrast: a machine without a usable GPU, a virtual display)
// Qt Quick's own software renderer draws the same windows sooner and in far less memory.
// A QT_QUICK_BACKEND the user set always wins.
namespace SceneGraph {

bool isSoftwareRenderer(QByteArrayView renderer);
// A GPU device: a DRM render node (/dev/dri/renderD*), or NVIDIA's own.
bool hasRenderNode();
// GL_RENDERER of a throwaway context; empty when no OpenGL context can be made.
QByteArray openGLRenderer();
// After the QGuiApplication exists and before any Qt Quick window. True when it chose the
// software scene graph.
bool chooseBackend();

} // namespace SceneGraph
