package com.example.notes;

import com.vorlix.quen.wb.Credentials;
import com.vorlix.quen.wb.TableLibraries;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;
import java.security.GeneralSecurityException;

/**
 * The notes through the life of an application, on a desktop JVM: shipped with version 1 of its keys, updated to
 * version 2, and attacked in between. The only argument is the file of the access key; libraries are found in
 * {@code java.library.path}. Exits with 1 if anything goes otherwise than it has to.
 */
public final class NotesOnDesktop {
    private static final String APPLICATION = "com.example.notes";
    private static final String TITLE = "shopping";
    private static final String TEXT = "apples, pears, a ladder";

    private static boolean good = true;

    private NotesOnDesktop() {}

    public static void main(String[] args) throws Exception {
        String accessKey = new String(Files.readAllBytes(Paths.get(args[0])), StandardCharsets.UTF_8).trim();
        Credentials credentials =
                Credentials.fromAccessKey(accessKey.getBytes(StandardCharsets.UTF_8), APPLICATION, APPLICATION);
        Notes shipped = new Notes(TableLibraries.open("notes", credentials, 1));
        Notes updated = new Notes(TableLibraries.open("notes", credentials, 1, 2));
        Notes later = new Notes(TableLibraries.open("notes", credentials, 2));

        byte[] note = shipped.seal(TITLE, TEXT);
        expect("sealed and opened under version 1", opens(shipped, TITLE, note));
        expect("opened after the update to version 2", opens(updated, TITLE, note));

        byte[] rotated = updated.rotate(TITLE, note);
        expect("rotated to version 2, which needs no version 1", opens(later, TITLE, rotated));
        expect("version 1 alone does not open it any more", !opens(shipped, TITLE, rotated));
        expect("rotated once only", updated.rotate(TITLE, rotated) == rotated);

        expect("refused under another title", !opens(updated, "wishes", rotated));
        expect("refused with any bit changed", isRefusedWhenChanged(updated, rotated));

        byte[] export = rotated.clone();
        byte[] signature = shipped.sign(export);
        expect("signature of version 1 accepted after the update", updated.isSignature(export, signature));
        expect("signature that is cut off refused", !updated.isSignature(export, new byte[3]));
        export[0] ^= 1;
        expect("signature of a changed export refused", !updated.isSignature(export, signature));

        credentials.destroy();
        System.exit(good ? 0 : 1);
    }

    private static boolean opens(Notes notes, String title, byte[] note) {
        try {
            return notes.open(title, note).equals(TEXT);
        } catch (GeneralSecurityException e) {
            return false;
        }
    }

    private static boolean isRefusedWhenChanged(Notes notes, byte[] note) {
        for (int bit = 0; bit < 8 * note.length; bit++) {
            byte[] changed = note.clone();
            changed[bit / 8] ^= (byte) (1 << bit % 8);
            if (opens(notes, TITLE, changed)) {
                return false;
            }
        }
        return true;
    }

    private static void expect(String what, boolean isSo) {
        good &= isSo;
        System.out.printf("%-50s %s%n", what, isSo ? "yes" : "NO");
    }
}
