package com.vorlix.quen.wb;

import com.vorlix.quen.wb.TestTables.Key;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.util.Arrays;
import java.util.Collection;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;
import java.util.stream.Collectors;

/** A native that may be called, with an argument for each of its parameters that is accepted. */
final class Native {
    static final int NO_PADDING = 0;

    private static final Map<String, Native> NATIVES = new TreeMap<>();
    private static final Map<String, Object> ACCEPTED = new HashMap<>();

    static {
        TestTables.load();
        for (Class<?> type : new Class<?>[] {WbkitAndr.class, WbkitCms.class}) {
            for (Method method : type.getDeclaredMethods()) {
                if (!method.isAnnotationPresent(Deprecated.class)) { // those would bring the virtual machine down
                    NATIVES.put(method.getName(), new Native(method));
                }
            }
        }
        ACCEPTED.put("hash", TestTables.token(TestTables.WBID));
        ACCEPTED.put("caller", TestTables.CALLER);
        ACCEPTED.put("iv", TestTables.random(16, 1));
        ACCEPTED.put("input", TestTables.random(100, 2));
        ACCEPTED.put("padding", NO_PADDING);
        ACCEPTED.put("aad", TestTables.bytes("additional data"));
        ACCEPTED.put("key", TestTables.bytes("data in the key field"));
        ACCEPTED.put("data", TestTables.bytes("data to sign"));
        ACCEPTED.put("wbid", TestTables.WBID);
        ACCEPTED.put("version", TestTables.ENCODED);
        ACCEPTED.put("ak", TestTables.AK);
        ACCEPTED.putAll(withWhatNativesMakeOf(ACCEPTED));
    }

    final String name;
    /** What the parameters are called; but the input of the GCM decryption, which has to be right, "sealed". */
    final List<String> parameters;
    private final Method method;

    private Native(Method method) {
        this.method = method;
        this.name = method.getName();
        this.parameters = Arrays.stream(method.getParameters())
                .map(parameter -> parameter.getName().replace("input", name.contains("GCM_de") ? "sealed" : "input"))
                .collect(Collectors.toList());
    }

    static Collection<Native> all() {
        return NATIVES.values();
    }

    static Native named(String name) {
        return NATIVES.get(name);
    }

    static byte[] accepted(String parameter) {
        return (byte[]) ACCEPTED.get(parameter);
    }

    static Map<String, Object> withWhatNativesMakeOf(Map<String, Object> arguments) {
        Map<String, Object> more = new HashMap<>(arguments);
        more.put("sealed", named("WBkit_AES_GCM_encrypt").call(arguments));
        more.put("message", named("WBkit_AES_CMS_GCM_encrypt").call(arguments)); // every decryption accepts it
        more.put("sig", named("signature").call(arguments));
        return more;
    }

    /** Calls with these arguments where it has such parameters, and with accepted ones elsewhere. */
    Object call(Map<String, Object> given) {
        Object[] arguments = parameters.stream().map(name -> given.getOrDefault(name,
                name.equals("keyid") ? key().id : ACCEPTED.get(name))).toArray();
        Object[] passed = Arrays.stream(arguments)
                .map(value -> value instanceof byte[] ? ((byte[]) value).clone() : value).toArray();
        try {
            Object result = method.invoke(null, passed);
            if (!Arrays.deepEquals(arguments, passed)) {
                throw new AssertionError(name + " changed its arguments");
            }
            return result;
        } catch (InvocationTargetException | IllegalAccessException e) {
            throw new AssertionError(e);
        }
    }

    /** The same with a name, a value, a name, a value, and so on. */
    Object call(Object... namesAndValues) {
        Map<String, Object> given = new HashMap<>();
        for (int i = 0; i < namesAndValues.length; i += 2) {
            given.put((String) namesAndValues[i], namesAndValues[i + 1]);
        }
        if (!parameters.containsAll(given.keySet())) {
            throw new AssertionError(name + " has no " + given.keySet());
        }
        return call(given);
    }

    byte[] run(Object... namesAndValues) {
        return (byte[]) call(namesAndValues);
    }

    Key key() {
        return name.matches("(WBkit_SM4|sm4).*") ? Key.SM4 : Key.AES_256;
    }

    /** Whether this is the result of a call that was not refused. */
    static boolean granted(Object result) {
        return result instanceof Integer ? (Integer) result == 0 : result != null;
    }

    @Override
    public String toString() {
        return name;
    }
}
