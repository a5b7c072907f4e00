#include "AAXWrap_GUI.h"

#include "Guarded.h"
#include "Tags.h"

#include <atomic>
#include <new>
#include <utility>

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
    (void)AAXWrap_GUI::uninitialize();
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
    return guarded([&] {
        auto* const model = dynamic_cast<AAXWrap_Parameters*>(controller->dataModel());
        if (model == nullptr)
            return AAX_ERROR_NULL_OBJECT;
        (void)uninitialize();
        model->giveEditorTo(*this);
        parameters = model;
        editor = model->getEffect().getEditor();
        return AAX_SUCCESS;
    });
}

Result AAXWrap_GUI::uninitialize()
{
    const Result result = guarded([&] { closeEditor(); });
    editor = nullptr;
    if (AAXWrap_Parameters* const model = std::exchange(parameters, nullptr))
        model->takeEditorBackFrom(*this);
    return result;
}

Result AAXWrap_GUI::setViewContainer(ViewContainer* viewContainer)
{
    return guarded([&] {
        closeEditor();
        if (viewContainer == nullptr)
            return AAX_SUCCESS;
        if (editor == nullptr)
            return AAX_ERROR_NOT_INITIALIZED;
        openEditor(*viewContainer);
        return AAX_SUCCESS;
    });
}

Result AAXWrap_GUI::getViewSize(ViewSize& size) const
{
    return guarded([&] {
        const host::EditorRect* rect = nullptr;
        if (editor == nullptr || !editor->getRect(&rect) || rect == nullptr)
            return AAX_ERROR_NULL_OBJECT;
        size = {.height = static_cast<float>(rect->bottom - rect->top),
                .width = static_cast<float>(rect->right - rect->left)};
        return AAX_SUCCESS;
    });
}

Result AAXWrap_GUI::setControlHighlight(const char* identifier, bool on, std::int32_t colour)
{
    if (parameters == nullptr || editor == nullptr)
        return AAX_ERROR_NOT_INITIALIZED;
    return guarded([&] {
        std::int32_t index = -1;
        const Result result = parameters->getParameterIndex(identifier, index);
        if (result == AAX_SUCCESS)
            editor->setControlHighlight(index, on, colour);
        return result;
    });
}

void AAXWrap_GUI::openEditor(ViewContainer& viewContainer)
{
    container = &viewContainer;
    void* const window = container->getType() == viewContainerNativeWindow ? container->getWindow() : nullptr;
    if (window == nullptr)
        return;
    editor->setFrameCallback(this);
    editor->open(window);
}

void AAXWrap_GUI::closeEditor()
{
    if (std::exchange(container, nullptr) == nullptr || editor == nullptr)
        return;
    editor->setFrameCallback(nullptr);
    editor->close();
}

bool AAXWrap_GUI::frameMessage(std::int32_t message, std::int32_t tag, bool isSecondaryButton)
{
    bool isTaken = false;
    (void)guarded([&] {
        if (container != nullptr && message == host::frameMessageClick)
            isTaken = offerClick(tag, isSecondaryButton);
        else if (container != nullptr && message == host::frameMessageResized)
            isTaken = passSizeOn();
    });
    return isTaken;
}

/// The host has menus of its own for a parameter, such as that of its automation, on clicks with its modifier keys.
bool AAXWrap_GUI::offerClick(std::int32_t tag, bool isSecondaryButton)
{
    ParameterInfo info{};
    if (!core::isParameter(tag) || parameters->getParameterInfo(tag, info) != AAX_SUCCESS)
        return false;
    std::uint32_t modifiers = 0;
    if (container->getModifiers(modifiers) == AAX_SUCCESS && isSecondaryButton)
        modifiers |= modifierSecondaryButton;
    return container->handleParameterMouseDown(info.identifier, modifiers) == AAX_SUCCESS ||
           container->handleParameterMouseUp(info.identifier, modifiers) == AAX_SUCCESS;
}

bool AAXWrap_GUI::passSizeOn()
{
    ViewSize size{};
    return getViewSize(size) == AAX_SUCCESS && container->setViewSize(size) == AAX_SUCCESS;
}

} // namespace sorvane::aax
