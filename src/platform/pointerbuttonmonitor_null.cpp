// Display servers that tell no application about another's pointer: nothing
// is known, so nothing is held and nothing is reported.
#include "pointerbuttonmonitor.h"

namespace {

class NullPointerButtonMonitor final : public PointerButtonMonitor
{
public:
    QString backendName() const override { return QStringLiteral("null"); }
    bool isButtonHeld() override { return false; }
    void setListening(bool) override { }
};

} // namespace

std::unique_ptr<PointerButtonMonitor> PointerButtonMonitor::create()
{
    return std::make_unique<NullPointerButtonMonitor>();
}
