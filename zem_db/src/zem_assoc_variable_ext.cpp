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
        OdDbObject const* const variable = m_variable.get();
        if (variable == nullptr || isReadFrom(*variable)) {
            return m_properties;
        }
        if (m_readFrom != nullptr) {
            m_properties.clear();  // holds what another variable said
        }
        m_readFrom = variable;
        m_readFromId = variable->objectId();
        // Nothing stored, or nothing that can be read, leaves the bag as far as it came.
        (void)m_properties.readFromDbObject(variable);
        return m_properties;
    }

    void writeData() override { data().writeToDbObject(m_variable.get()); }

private:
    bool isReadFrom(OdDbObject const& variable) const
    {
        return &variable == m_readFrom && variable.objectId() == m_readFromId;
    }

    OdDbObjectPtr m_variable;
    ZemProperties m_properties{/*config=*/0};
    /// The variable that the bag was read from, compared only: it may be gone. The id tells it from a
    /// later one in the same place.
    OdDbObject const* m_readFrom = nullptr;
    OdDbObjectId m_readFromId;
};

RX_DEFINE_CLASS(ZemAssocVariableExt, OdRxObject, odrxMake<ZemRxObjectImpl<ZemAssocVariableExt>>,
                L"ZemAssocVariableExt");

ZemAssocVariableExt::~ZemAssocVariableExt() = default;
