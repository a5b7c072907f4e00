#pragma once

#include <GL/gl.h>

namespace sorvane::platform {

/// What is used of OpenGL 1, loaded when it is first asked for.
struct GLFunctions {
    decltype(&::glBindTexture) bindTexture;
    decltype(&::glBlendFunc) blendFunc;
    decltype(&::glClear) clear;
    decltype(&::glClearColor) clearColor;
    decltype(&::glColor4ub) color4ub;
    decltype(&::glDeleteTextures) deleteTextures;
    decltype(&::glDisable) disable;
    decltype(&::glDrawArrays) drawArrays;
    decltype(&::glEnable) enable;
    decltype(&::glEnableClientState) enableClientState;
    decltype(&::glGenTextures) genTextures;
    decltype(&::glGetIntegerv) getIntegerv;
    decltype(&::glLoadIdentity) loadIdentity;
    decltype(&::glMatrixMode) matrixMode;
    decltype(&::glOrtho) ortho;
    decltype(&::glPixelStorei) pixelStorei;
    decltype(&::glReadPixels) readPixels;
    decltype(&::glShadeModel) shadeModel;
    decltype(&::glTexCoordPointer) texCoordPointer;
    decltype(&::glTexEnvi) texEnvi;
    decltype(&::glTexImage2D) texImage2D;
    decltype(&::glTexParameteri) texParameteri;
    decltype(&::glVertexPointer) vertexPointer;
    decltype(&::glViewport) viewport;
};

} // namespace sorvane::platform
