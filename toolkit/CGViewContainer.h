#pragma once

#include "CViewContainer.h"

namespace sorvane::toolkit {

/// A container whose views can be walked from outside.
class iCGinterface {
public:
    virtual ~iCGinterface() = default;
    /// Its views, the first at the back.
    [[nodiscard]] virtual std::span<const Shared<CView>> getChildren() const = 0;
};

class CGViewContainer : public CViewContainer, public iCGinterface {
public:
    using CViewContainer::CViewContainer;

    [[nodiscard]] std::span<const Shared<CView>> getChildren() const override { return getViews(); }
    [[nodiscard]] bool isTypeOf(std::string_view name) const override
    {
        return name == "CGViewContainer" || CViewContainer::isTypeOf(name);
    }
};

} // namespace sorvane::toolkit
