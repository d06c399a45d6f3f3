package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;

import com.vorlix.quen.wb.TestTables.Key;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.Callable;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;

/** Natives called by many threads at once, and often. */
class ManyCallsTest {
    private static final int THREADS = 8;
    private static final int CALLS_PER_THREAD = 200;
    private static final int CALLS_IN_TURN = 3000;

    @BeforeAll
    static void load() {
        TestTables.load();
    }

    @Test
    void threadsDoNotDisturbEachOther() throws Exception {
        ExecutorService pool = Executors.newFixedThreadPool(THREADS);
        try {
            CountDownLatch start = new CountDownLatch(THREADS);
            List<Future<Void>> results = new ArrayList<>();
            for (int thread = 0; thread < THREADS; thread++) {
                results.add(pool.submit(roundTrips(thread, start)));
            }
            for (Future<Void> result : results) {
                result.get(); // throws what failed in the thread
            }
        } finally {
            pool.shutdownNow();
        }
    }

    private static Callable<Void> roundTrips(int thread, CountDownLatch start) {
        StreamMode mode = StreamMode.values()[thread % StreamMode.values().length];
        Key key = Key.values()[thread / 3 % Key.values().length];
        int version = TestTables.VERSIONS[thread % 2];
        return () -> {
            Random random = new Random(thread);
            byte[] iv = new byte[16];
            byte[] plain = new byte[1000 + thread];
            start.countDown();
            start.await();
            for (int call = 0; call < CALLS_PER_THREAD; call++) {
                random.nextBytes(iv);
                random.nextBytes(plain);
                byte[] cipher = mode.encrypt.run(key, version, iv, plain, StreamMode.PKCS5);
                assertArrayEquals(mode.encryptWithClearKey(key, iv, plain, StreamMode.PKCS5), cipher);
                assertArrayEquals(plain, mode.decrypt.run(key, version, iv, cipher, StreamMode.PKCS5));
            }
            return null;
        };
    }

    /** The arrays are handed back to the virtual machine after each call, with what the native left in them. */
    @Test
    void argumentsStayAsTheyWere() {
        byte[][] arguments = {TestTables.token(TestTables.WBID), TestTables.CALLER.clone(), new byte[16],
            TestTables.bytes("a text of more than one block"), TestTables.WBID.clone(), Key.AES_128.id.clone()};
        new Random(9).nextBytes(arguments[2]);
        byte[][] before = new byte[arguments.length][];
        for (int i = 0; i < arguments.length; i++) {
            before[i] = arguments[i].clone();
        }
        byte[] first = run(arguments);
        for (int call = 1; call < CALLS_IN_TURN; call++) {
            assertArrayEquals(first, run(arguments));
        }
        for (int i = 0; i < arguments.length; i++) {
            assertArrayEquals(before[i], arguments[i], "argument " + i);
        }
    }

    private static byte[] run(byte[][] arguments) {
        return WbkitAndr.WBkit_AES_CTR_encrypt(arguments[0], arguments[1], arguments[2], arguments[3],
                StreamMode.PKCS5, arguments[4], arguments[5], TestTables.ENCODED);
    }
}
