#include "cli/outcome.h"
#include "foundation/result.h"
#include <memory>

namespace {

using library_text = std::unique_ptr<char, void (*)(void *)>;

json result_document(uint32_t code, const std::string &description)
{
    return {{"result", code}, {"description", description}};
}

} // namespace

outcome ended(uint32_t code, const std::string &description) { return {code, result_document(code, description)}; }

std::string code_description(uint32_t code)
{
    char *text = nullptr;
    json_generator__process_error(code, &text);
    const library_text owner(text, M_free);
    const json document = read_document(text ? text : "");
    return document.is_object() ? document.value("description", "") : "no description";
}

outcome taken_over(uint32_t code, char *document)
{
    const library_text owner(document, M_free);
    if (!document) return {code, std::nullopt};
    json parsed = read_document(document);
    if (parsed.is_discarded()) {
        parsed = result_document(code, code_description(code));
        parsed["document"] = document;
    }
    return {code, parsed};
}

outcome with_document(const outcome &answer)
{
    if (answer.code != RESULT__OK || answer.document) return answer;
    return ended(RESULT__NO_DATA, "the card's answer could not be read");
}
