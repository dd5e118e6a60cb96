// Ends with 0 when the television on the bus says which software it has.

#include "nrx_service/nrx_proxy/nrx_model_access/biz_system_access/value_access.h"
#include "nrx_service/nrx_proxy/nrx_model_access/model_keys.h"

int main() {
    orvane::system::support::ValueAccessT<objbus::ObserverString> version(orvane::model_keys::SOFTWARE_VERSION);
    std::string text;
    bool const told = version.connect(60000) == 0 && version.getValue(text) == 0 && text == "7.2.114";
    return told ? 0 : 1;
}
