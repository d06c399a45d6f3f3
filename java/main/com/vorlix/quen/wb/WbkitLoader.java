package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.nio.file.Path;
import java.util.Objects;

/**
 * Loads {@code libquen-wbkit.so}. Nobody has to call it where the library is in the application or in a folder of
 * {@code java.library.path}: the first use of a class of this package loads it from there.
 *
 * <p>A failure is an {@link UnsatisfiedLinkError} whose message names the ABI, the places that were searched, the
 * missing file, and what to do. It is final: the virtual machine does not look at a class again that failed once.
 *
 * <p>An application may load the library itself with {@link System#load} or {@link System#loadLibrary}. It must have
 * done so before another thread uses a class of this package for the first time: each of the two threads could wait for
 * what the other holds.
 */
public final class WbkitLoader {
    private static final byte[] NOTHING = {};

    private static volatile String chosenFile;
    private static volatile String failure;

    private WbkitLoader() {}

    /**
     * Loads the library, if that has not been done yet.
     *
     * @throws UnsatisfiedLinkError if it cannot be loaded
     */
    public static void load() {
        try {
            Class.forName(WbkitAndr.class.getName(), true, WbkitAndr.class.getClassLoader()); // loads the library
        } catch (ClassNotFoundException e) {
            throw new AssertionError(e); // it is there
        } catch (LinkageError e) {
            throw failure == null || failure.equals(e.getMessage()) ? e : error(failure, e);
        }
    }

    /**
     * Loads the library from this file, on a desktop, if none has been loaded yet. What it needs beside it is searched
     * in the same folder.
     *
     * @param file the library
     * @throws UnsatisfiedLinkError if it cannot be loaded
     */
    public static void load(@NonNull Path file) {
        Objects.requireNonNull(file, "file");
        chosenFile = file.toAbsolutePath().toString();
        load();
    }

    /** For the initialiser of the class whose methods the library binds. */
    static void loadForNatives() {
        if (nativesAreBound() || someoneIsLoading()) {
            return;
        }
        String file = chosenFile;
        try {
            if (file == null) {
                System.loadLibrary("quen-wbkit");
            } else {
                System.load(file);
            }
        } catch (LinkageError e) {
            failure = LoadFailure.describe(e, file == null ? "libquen-wbkit.so" : file, "WbkitLoader.load(Path)");
            throw error(failure, e);
        }
    }

    private static boolean nativesAreBound() {
        try {
            WbkitAndr.hmac(NOTHING, NOTHING);
            return true;
        } catch (LinkageError e) { // also if a shrinker has removed the method
            return false;
        }
    }

    /**
     * An application may load the library itself, from where it likes. Its load hook looks the class up, whose
     * initialiser then runs before the natives are bound, and must not fail because there is no other copy.
     */
    private static boolean someoneIsLoading() {
        for (StackTraceElement frame : new Throwable().getStackTrace()) {
            if (frame.getClassName().matches("java\\.lang\\.(System|Runtime)")
                    && frame.getMethodName().startsWith("load")) {
                return true;
            }
        }
        return false;
    }

    private static UnsatisfiedLinkError error(String message, LinkageError cause) {
        UnsatisfiedLinkError error = new UnsatisfiedLinkError(message);
        error.initCause(cause);
        return error;
    }
}
