#include "zem_assoc_variable_ext.h"

#include "zem_properties.h"
#include "zem_rx_object_impl.h"

template <>
class ZemRxObjectImpl<ZemAssocVariableExt> final : public OdRxObjectImpl<ZemAssocVariableExt>
{
public:
    OdDbObjectPtr& getDbObject() override { return m_variable; }

    ZemProperties& data() override
    {
        if (!m_isRead) {
            m_isRead = true;
            // Nothing stored, or nothing that can be read, leaves the bag as far as it came.
            (void)m_properties.readFromDbObject(m_variable.get());
        }
        return m_properties;
    }

    void writeData() override { data().writeToDbObject(m_variable.get()); }

private:
    OdDbObjectPtr m_variable;
    ZemProperties m_properties{/*config=*/0};
    bool m_isRead = false;
};

RX_DEFINE_CLASS(ZemAssocVariableExt, OdRxObject, odrxMake<ZemRxObjectImpl<ZemAssocVariableExt>>,
                L"ZemAssocVariableExt");

ZemAssocVariableExt::~ZemAssocVariableExt() = default;
