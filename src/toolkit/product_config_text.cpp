#include "toolkit/product_config_text.h"

#include "cJSON.h"

#include "base/log.h"

bool ParseProductConfigText(const std::string& utf8, CProductConfig* config) {
  size_t start = 0;
  if (utf8.compare(0, 3, "\xEF\xBB\xBF") == 0) start = 3;
  cJSON* root = cJSON_ParseWithLength(utf8.data() + start, utf8.size() - start);
  bool ok = false;
  if (root == nullptr || !cJSON_IsObject(root)) {
    LogError(u"ParseProductConfigText: the document is no JSON object");
  } else {
    CProductConfig parsed;
    ok = ParseConfigInfo(parsed, root);
    if (ok) {
      *config = std::move(parsed);
    } else {
      LogError(u"ParseProductConfigText: the configuration is not valid");
    }
  }
  cJSON_Delete(root);
  return ok;
}
