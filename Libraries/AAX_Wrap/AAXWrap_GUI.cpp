#include "AAXWrap_GUI.h"

#include <atomic>
#include <new>

namespace sorvane::aax {

namespace {

std::atomic<std::int32_t> liveViews{0};

} // namespace

AAXWrap_GUI::AAXWrap_GUI() noexcept
{
    ++liveViews;
}

AAXWrap_GUI::~AAXWrap_GUI()
{
    AAXWrap_GUI::uninitialize();
    --liveViews;
}

EffectGUI* AAXWrap_GUI::create() noexcept
{
    return new (std::nothrow) AAXWrap_GUI;
}

std::int32_t AAXWrap_GUI::instanceCount() noexcept
{
    return liveViews;
}

Result AAXWrap_GUI::initialize(Controller* controller)
{
    if (controller == nullptr)
        return AAX_ERROR_NOT_INITIALIZED;
    parameters = dynamic_cast<AAXWrap_Parameters*>(controller->dataModel());
    if (parameters == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    editor = parameters->getEffect().getEditor();
    return AAX_SUCCESS;
}

Result AAXWrap_GUI::uninitialize()
{
    closeEditor();
    editor = nullptr;
    parameters = nullptr;
    return AAX_SUCCESS;
}

Result AAXWrap_GUI::setViewContainer(ViewContainer* viewContainer)
{
    if (viewContainer == nullptr) {
        closeEditor();
        return AAX_SUCCESS;
    }
    if (editor == nullptr)
        return AAX_ERROR_NOT_INITIALIZED;
    container = viewContainer;
    if (container->getType() == viewContainerNativeWindow && container->getWindow() != nullptr)
        editor->open(container->getWindow());
    return AAX_SUCCESS;
}

Result AAXWrap_GUI::getViewSize(ViewSize& size) const
{
    const host::EditorRect* rect = nullptr;
    if (editor == nullptr || !editor->getRect(&rect) || rect == nullptr)
        return AAX_ERROR_NULL_OBJECT;
    size = {.height = static_cast<float>(rect->bottom - rect->top),
            .width = static_cast<float>(rect->right - rect->left)};
    return AAX_SUCCESS;
}

/// There is no control yet that could show it; an unknown parameter is told all the same.
Result AAXWrap_GUI::setControlHighlight(const char* identifier, bool, std::int32_t)
{
    std::int32_t index = -1;
    return parameters != nullptr ? parameters->getParameterIndex(identifier, index) : AAX_ERROR_NOT_INITIALIZED;
}

void AAXWrap_GUI::closeEditor()
{
    if (container != nullptr && editor != nullptr)
        editor->close();
    container = nullptr;
}

} // namespace sorvane::aax
