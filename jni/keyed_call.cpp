#include "jni/keyed_call.h"

#include "quen/status.h"

namespace wbkit {

KeyedCall::KeyedCall(HeldArrays &arrays, const KeyedArguments &arguments)
    : arrays_(arrays), wbid_bytes_(arrays.fetch_elements_first(arguments.wbid)),
      keyid_bytes_(arrays.fetch_elements_first(arguments.keyid)), token_(arrays.fetch_length_first(arguments.hash)),
      caller_bytes_(arrays.fetch_length_first(arguments.caller)), version_(arguments.version) {}

bool KeyedCall::admit(const NativeWords &words) {
    if (!arrays_.complete()) {
        refuse_call(words);
        return false;
    }
    if (!wbid_.take(wbid_bytes_) || !keyid_.take(keyid_bytes_) || !caller_.take(caller_bytes_)) {
        if (words.tells_failures) {
            report_failure(words, WBKIT_NO_MEMORY);
        } else {
            refuse_call(words);
        }
        return false;
    }
    admission_ = authorise({token_, caller_}, wbid_, version_);
    if (!admission_.granted) {
        refuse_call(words);
    }
    return admission_.granted;
}

} // namespace wbkit
