package com.example.notes;

import android.app.Activity;
import android.os.Bundle;
import android.util.AtomicFile;
import android.widget.EditText;
import com.vorlix.quen.wb.Credentials;
import com.vorlix.quen.wb.TableLibraries;
import java.io.BufferedReader;
import java.io.File;
import java.io.FileNotFoundException;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;

/**
 * One note on one screen, encrypted whenever the screen is left. The tests do not compile this class, they have no SDK.
 *
 * <p>The access key is an asset: no secret from whoever has the application, but it stands in the table library as text
 * anyway.
 */
public final class NotesActivity extends Activity {
    private static final String TITLE = "note";

    private EditText text;
    private AtomicFile file;
    /** Null if the note could not be read, which must not be overwritten then. */
    private Notes notes;

    @Override
    protected void onCreate(Bundle state) {
        super.onCreate(state);
        text = new EditText(this);
        text.setSaveEnabled(false); // the system would keep the text in clear
        setContentView(text);
        file = new AtomicFile(new File(getFilesDir(), TITLE));
        try {
            Notes opened = new Notes(TableLibraries.open("notes", credentials(), 1, 2));
            text.setText(readNote(opened));
            notes = opened;
        } catch (GeneralSecurityException | IOException | UnsatisfiedLinkError e) {
            text.setText(e.getMessage()); // it tells what to do
            text.setEnabled(false);
        }
    }

    @Override
    protected void onPause() {
        super.onPause();
        if (notes == null) {
            return;
        }
        FileOutputStream out = null;
        try {
            byte[] note = notes.seal(TITLE, text.getText().toString()); // under the newest key: this rotates it too
            out = file.startWrite();
            out.write(note);
            file.finishWrite(out);
        } catch (GeneralSecurityException | IOException e) {
            file.failWrite(out);
            text.setError(e.getMessage());
        }
    }

    private String readNote(Notes opened) throws GeneralSecurityException, IOException {
        byte[] note;
        try {
            note = file.readFully();
        } catch (FileNotFoundException e) {
            return ""; // the first start
        }
        return opened.open(TITLE, note);
    }

    private Credentials credentials() throws IOException {
        try (BufferedReader in =
                new BufferedReader(new InputStreamReader(getAssets().open("ak"), StandardCharsets.UTF_8))) {
            byte[] accessKey = in.readLine().getBytes(StandardCharsets.UTF_8);
            return Credentials.fromAccessKey(accessKey, getPackageName(), getPackageName());
        }
    }
}
