package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.function.Consumer;
import org.junit.jupiter.api.Test;

/** Natives called by many threads at once, and often. */
class ManyCallsTest {
    static final int THREADS = 32;
    private static final int ROUNDS_OF_A_THREAD = 15;

    /** As AddressSanitizer does: growth says nothing then, and calls are slow. */
    private static final boolean FREED_MEMORY_IS_KEPT = Boolean.getBoolean("wbkit.freedMemoryIsKept");
    private static final int CALLS = FREED_MEMORY_IS_KEPT ? 5_000 : 100_000;
    private static final int ARRAY_SIZE = 4096;

    @Test
    void threadsDoNotDisturbEachOther() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(THREADS);
        CyclicBarrier start = new CyclicBarrier(THREADS);
        List<Callable<Void>> work = new ArrayList<>();
        for (int thread = 0; thread < THREADS; thread++) {
            work.add(workOfAThread(thread, start));
        }
        List<Future<Void>> results = pool.invokeAll(work);
        pool.shutdown();
        for (Future<Void> result : results) {
            result.get(); // throws what failed in the thread
        }
    }

    /** Every native in turn, on arguments of the thread's own, gives what it gave before the others ran. */
    private static Callable<Void> workOfAThread(int thread, CyclicBarrier start) {
        Map<String, Object> own = new HashMap<>();
        own.put("iv", TestTables.random(16, thread));
        own.put("input", TestTables.random(300 + thread, thread));
        own.put("data", TestTables.random(300 + thread, thread));
        own.put("version", TestTables.VERSIONS[thread % 2]);
        Map<String, Object> arguments = Native.withWhatNativesMakeOf(own);
        Object[] alone = callAll(arguments);
        return () -> {
            start.await();
            for (int round = 0; round < ROUNDS_OF_A_THREAD; round++) {
                assertArrayEquals(alone, callAll(arguments));
            }
            return null;
        };
    }

    private static Object[] callAll(Map<String, Object> arguments) {
        return Native.all().stream().map(function -> function.call(arguments)).toArray();
    }

    /** A native that forgets one array or buffer a call keeps three times what is allowed. */
    @Test
    void memoryDoesNotGrow() throws IOException {
        List<Native> natives = new ArrayList<>(Native.all());
        natives.remove(Native.named("WBkit_SM4_OFB_encrypt")); // keeps token and caller: intended
        int rounds = CALLS / natives.size();
        long allowed = (long) rounds * ARRAY_SIZE / 3;

        Map<String, Object> large = largeArguments("caller iv input aad key data wbid ak");
        // A message has little room for these two, see WBkit_AES_CMS_GCM_encrypt.
        Map<String, Object> modest = largeArguments("caller input key data wbid ak");
        Consumer<Native> call = function -> assertTrue(
                Native.granted(function.call(function.name.contains("CMS_GCM") ? modest : large)), function.name);
        large.put("message", modest.get("message"));

        Collections.nCopies(rounds / 5, natives).forEach(all -> all.forEach(call));
        long before = residentBytes();
        Collections.nCopies(rounds, natives).forEach(all -> all.forEach(call));
        long growth = residentBytes() - before;
        assertTrue(FREED_MEMORY_IS_KEPT || growth < allowed, "grew by " + growth + ", allowed are " + allowed);
    }

    /** Texts end at a zero, and bytes beyond token, block and access key do not count: all of them can be long. */
    private static Map<String, Object> largeArguments(String parameters) {
        Map<String, Object> arguments = new HashMap<>();
        for (String parameter : parameters.split(" ")) {
            arguments.put(parameter, Arrays.copyOf(Native.accepted(parameter), ARRAY_SIZE));
        }
        byte[] token = TestTables.token((byte[]) arguments.get("wbid"));
        arguments.put("hash", Arrays.copyOf(token, ARRAY_SIZE));
        return Native.withWhatNativesMakeOf(arguments);
    }

    private static long residentBytes() throws IOException {
        String status = new String(Files.readAllBytes(Paths.get("/proc/self/status")));
        return Long.parseLong(status.replaceAll("(?s).*VmRSS:\\s*(\\d+) kB.*", "$1")) << 10;
    }
}
